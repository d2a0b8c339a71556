// macOS: items are renamed into ~/.Trash, or .Trashes/<uid> at the top of another volume, with a
// free name; never copied. Where each item came from is kept by the caller's own record.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "platform/mounts.h"
#include "platform/trash.h"

namespace tidyloom::platform {
namespace fs = std::filesystem;
namespace {

bool isOwnFolder(const fs::path& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == ::getuid();
}

// The Trash on the volume of `device`: ~/.Trash when the home is there, else that volume's own.
fs::path trashFor(const fs::path& home, dev_t device) {
  struct stat info {};
  if (::stat(home.c_str(), &info) == 0 && info.st_dev == device) return home / ".Trash";
  for (const auto& mount : mountTable()) {
    if (::stat(mount.path.c_str(), &info) == 0 && info.st_dev == device && mount.path != "/") {
      return fs::path(mount.path) / ".Trashes" / std::to_string(::getuid());
    }
  }
  return {};
}

}  // namespace

TrashMove moveToTrash(const TrashRequest& request) {
  struct stat item {};
  if (::fstatat(request.parentFd, request.name.c_str(), &item, AT_SYMLINK_NOFOLLOW) != 0) {
    return {{errno, std::generic_category()}};
  }
  const fs::path trash = trashFor(request.home, item.st_dev);
  if (trash.empty()) return {std::make_error_code(std::errc::cross_device_link)};
  (void)::mkdir(trash.c_str(), 0700);
  const int trashFd = ::open(trash.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (trashFd < 0) return {{errno, std::generic_category()}};
  TrashMove result;
  for (int n = 1; n < 10000; ++n) {
    const std::string candidate = n == 1 ? request.name : request.name + " " + std::to_string(n);
    result.error = renameNoReplace(request.parentFd, request.name, trashFd, candidate);
    if (!result.error) {
      result.folder = trash;
      result.name = candidate;
    }
    if (result.error != std::errc::file_exists) break;
  }
  (void)::close(trashFd);
  return result;
}

bool finderAvailable() { return true; }

std::error_code renameNoReplace(int fromFd, const std::string& from, int toFd, const std::string& to) {
  if (::renameatx_np(fromFd, from.c_str(), toFd, to.c_str(), RENAME_EXCL) == 0) return {};
  return {errno, std::generic_category()};
}

std::vector<TrashLocation> userTrashes(const fs::path& home) {
  std::vector<TrashLocation> trashes;
  if (isOwnFolder(home / ".Trash")) trashes.push_back({home / ".Trash", {}, {}});
  const std::string uid = std::to_string(::getuid());
  for (const auto& mount : mountTable()) {
    if ((mount.flags & kMountLocal) == 0 || mount.path == "/" || !mount.path.starts_with("/Volumes/")) continue;
    const fs::path folder = fs::path(mount.path) / ".Trashes" / uid;
    if (isOwnFolder(folder)) trashes.push_back({folder, {}, mount.path});
  }
  return trashes;
}

}  // namespace tidyloom::platform
