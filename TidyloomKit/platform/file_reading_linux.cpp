// Linux: O_NOATIME is refused (EPERM) for files the caller does not own; then open normally.
#include <fcntl.h>

#include <cerrno>

#include "platform/file_reading.h"

namespace tidyloom::platform {

int openForContentRead(const char* path) {
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_CLOEXEC;
  const int fd = ::open(path, kFlags | O_NOATIME);
  if (fd >= 0 || errno != EPERM) return fd;
  return ::open(path, kFlags);
}

}  // namespace tidyloom::platform
