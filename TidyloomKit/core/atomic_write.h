// Whole-file writes that never leave a half-written file: temporary file beside it, fsync, rename.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace tidyloom {

// Creates missing parent folders. Throws EngineError::io with a localised message on failure;
// the destination then still holds its previous content.
void writeFileAtomically(const std::filesystem::path& destination, std::string_view contents);

// Rewrites a small store file the way a user's data deserves: through a link to its target rather
// than replacing the link, keeping the file's permission bits, and, when the bytes there now are not
// something `decodes` accepts, first copying them to "<file>.corrupt-<UTC time>" (reported once
// through the store notice hook) so that nothing the user had is lost by the rewrite.
void writeStoreFile(const std::filesystem::path& destination, std::string_view contents,
                    const std::function<bool(const std::string&)>& decodes);

// Where stores report what the user should know (a file kept aside); the front end prints it.
// Without a hook set, nothing is reported.
void setStoreNoticeHook(std::function<void(const std::string&)> hook);

// Reads a whole file; returns false when it is missing or unreadable.
bool readWholeFile(const std::filesystem::path& path, std::string& out);

}  // namespace tidyloom
