// macOS timestamps: st_mtimespec and st_birthtimespec.
#include "platform/file_times.h"

#include <fcntl.h>

namespace tidyloom::platform {

std::int64_t modificationNanoseconds(const struct stat& info) {
  return static_cast<std::int64_t>(info.st_mtimespec.tv_sec) * 1'000'000'000 +
         static_cast<std::int64_t>(info.st_mtimespec.tv_nsec);
}

std::int64_t birthNanoseconds(int dirFd, const char* name) {
  struct stat info {};
  if (::fstatat(dirFd, name, &info, AT_SYMLINK_NOFOLLOW) != 0) return 0;
  return static_cast<std::int64_t>(info.st_birthtimespec.tv_sec) * 1'000'000'000 +
         static_cast<std::int64_t>(info.st_birthtimespec.tv_nsec);
}

}  // namespace tidyloom::platform
