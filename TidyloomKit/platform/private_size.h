// The bytes of a regular file that no clone shares: what deleting it frees.
#pragma once

#include <cstdint>
#include <optional>

namespace tidyloom::platform {

// The private (unshared) size of the regular file `name` in `directoryFd`, without following a
// final symbolic link; nullopt when the file system does not report one. Linux reports the
// allocated bytes; macOS asks getattrlist for the private size.
std::optional<std::uint64_t> privateSize(int directoryFd, const char* name);

}  // namespace tidyloom::platform
