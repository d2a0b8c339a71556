// Linux: reflink sharing is not reported cheaply, so the private size is the allocated size.
#include <fcntl.h>
#include <sys/stat.h>

#include "platform/private_size.h"

namespace tidyloom::platform {

std::optional<std::uint64_t> privateSize(int directoryFd, const char* name) {
  struct stat info {};
  if (::fstatat(directoryFd, name, &info, AT_SYMLINK_NOFOLLOW) != 0) return std::nullopt;
  return static_cast<std::uint64_t>(info.st_blocks) * 512u;
}

}  // namespace tidyloom::platform
