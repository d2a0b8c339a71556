// Whole-file writes that never leave a half-written file: temporary file beside it, fsync, rename.
#pragma once

#include <filesystem>
#include <string_view>

namespace tidyloom {

// Creates missing parent folders. Throws EngineError::io with a localised message on failure;
// the destination then still holds its previous content.
void writeFileAtomically(const std::filesystem::path& destination, std::string_view contents);

// Reads a whole file; returns false when it is missing or unreadable.
bool readWholeFile(const std::filesystem::path& path, std::string& out);

}  // namespace tidyloom
