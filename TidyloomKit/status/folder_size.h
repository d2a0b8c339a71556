// The bytes a folder occupies: each entry's allocated size (the smaller of allocated and logical
// size), hard links counted once, symbolic links never followed.
#pragma once

#include <cstdint>
#include <filesystem>

namespace tidyloom {

// A missing folder measures 0; entries that cannot be read are left out of the sum.
std::uint64_t folderByteSize(const std::filesystem::path& folder);

}  // namespace tidyloom
