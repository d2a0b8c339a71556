// macOS: items are renamed into ~/.Trash (same volume only), with a free name.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/trash.h"

namespace tidyloom::platform {

std::error_code moveToTrash(const TrashRequest& request) {
  const std::filesystem::path trash = request.home / ".Trash";
  (void)::mkdir(trash.c_str(), 0700);
  const int trashFd = ::open(trash.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (trashFd < 0) return {errno, std::generic_category()};
  std::error_code result;
  for (int n = 1; n < 10000; ++n) {
    const std::string candidate = n == 1 ? request.name : request.name + " " + std::to_string(n);
    result = renameNoReplace(request.parentFd, request.name, trashFd, candidate);
    if (result != std::errc::file_exists) break;
  }
  (void)::close(trashFd);
  return result;
}

bool finderAvailable() { return true; }

std::error_code renameNoReplace(int fromFd, const std::string& from, int toFd, const std::string& to) {
  if (::renameatx_np(fromFd, from.c_str(), toFd, to.c_str(), RENAME_EXCL) == 0) return {};
  return {errno, std::generic_category()};
}

}  // namespace tidyloom::platform
