// Linux timestamps: st_mtim, and the birth time through statx.
#include "platform/file_times.h"

#include <fcntl.h>

namespace tidyloom::platform {

std::int64_t modificationNanoseconds(const struct stat& info) {
  return static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1'000'000'000 +
         static_cast<std::int64_t>(info.st_mtim.tv_nsec);
}

std::int64_t birthNanoseconds(int dirFd, const char* name) {
  struct statx info {};
  if (::statx(dirFd, name, AT_SYMLINK_NOFOLLOW, STATX_BTIME, &info) != 0 || (info.stx_mask & STATX_BTIME) == 0) {
    return 0;
  }
  return static_cast<std::int64_t>(info.stx_btime.tv_sec) * 1'000'000'000 +
         static_cast<std::int64_t>(info.stx_btime.tv_nsec);
}

}  // namespace tidyloom::platform
