// Timestamps of an lstat result, whose field names differ between systems.
#pragma once

#include <sys/stat.h>

#include <cstdint>

namespace tidyloom::platform {

// Content-modification time in nanoseconds since the Unix epoch.
std::int64_t modificationNanoseconds(const struct stat& info);

}  // namespace tidyloom::platform
