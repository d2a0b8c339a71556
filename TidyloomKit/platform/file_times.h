// Timestamps of an item, whose field names and system calls differ between systems.
#pragma once

#include <sys/stat.h>

#include <cstdint>

namespace tidyloom::platform {

// Content-modification time in nanoseconds since the Unix epoch.
std::int64_t modificationNanoseconds(const struct stat& info);
// Creation ("birth") time of `name` in the folder `dirFd` (a final link is not followed), in
// nanoseconds since the Unix epoch; 0 when the file system does not keep it. A rename keeps it, and
// a new file that reuses a freed inode number gets a new one.
std::int64_t birthNanoseconds(int dirFd, const char* name);

}  // namespace tidyloom::platform
