// Linux Trash after the freedesktop.org Trash standard (version 1.0): the home trash for items on the
// home's file system, $topdir/.Trash/$uid or $topdir/.Trash-$uid elsewhere; never a copy.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <utility>
#include <vector>

#include "platform/mounts.h"
#include "platform/trash.h"
#include "platform/trash_format.h"
#include "platform/trash_records.h"
#include "platform/user_dirs.h"

namespace tidyloom::platform {
namespace fs = std::filesystem;
namespace {

std::error_code lastError() { return {errno, std::generic_category()}; }

// Opens `dir`, creating it with `mode` when missing; refuses a link or a non-folder.
std::error_code openOrMakeDirectory(int atFd, const char* name, mode_t mode, Fd& out) {
  if (::mkdirat(atFd, name, mode) != 0 && errno != EEXIST) return lastError();
  Fd fd(::openat(atFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!fd.valid()) return lastError();
  out = std::move(fd);
  return {};
}

std::error_code openOrMakePath(const fs::path& path, mode_t mode, Fd& out) {
  Fd fd(::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  for (const auto& component : path.relative_path()) {
    Fd next;
    if (const auto error = openOrMakeDirectory(fd.get(), component.c_str(), mode, next)) return error;
    fd = std::move(next);
  }
  out = std::move(fd);
  return {};
}

fs::path dataHome(const fs::path& home) { return userDataHome(home); }

dev_t deviceOfNearestExisting(fs::path path) {
  struct stat info {};
  while (::stat(path.c_str(), &info) != 0 && path.has_relative_path()) path = path.parent_path();
  return info.st_dev;
}

// The top directory of the mount holding `folder`: the highest ancestor on the same device.
fs::path topDirectory(fs::path folder, dev_t device) {
  while (folder.has_relative_path()) {
    struct stat info {};
    if (::stat(folder.parent_path().c_str(), &info) != 0 || info.st_dev != device) break;
    folder = folder.parent_path();
  }
  return folder;
}

struct TrashFolder {
  Fd root, files, info;
  fs::path path;    // the Trash folder holding files/ and info/
  fs::path topdir;  // empty for the home trash, whose info files hold absolute paths
};

std::error_code openTrashParts(TrashFolder& trash) {
  if (const auto error = openOrMakeDirectory(trash.root.get(), "files", 0700, trash.files)) return error;
  return openOrMakeDirectory(trash.root.get(), "info", 0700, trash.info);
}

std::error_code openVolumeTrash(const fs::path& topdir, dev_t device, TrashFolder& trash) {
  const std::string uid = std::to_string(::getuid());
  Fd top(::open(topdir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!top.valid()) return lastError();
  struct stat info {};
  // An administrator's shared .Trash counts only when it is a real, sticky folder.
  const bool shared = ::fstatat(top.get(), ".Trash", &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(info.st_mode) &&
                      (info.st_mode & S_ISVTX);
  if (shared) {
    Fd admin(::openat(top.get(), ".Trash", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (admin.valid() && !openOrMakeDirectory(admin.get(), uid.c_str(), 0700, trash.root)) {
      trash.topdir = topdir;
      trash.path = topdir / ".Trash" / uid;
      if (!openTrashParts(trash)) return {};
    }
  }
  const std::string own = ".Trash-" + uid;
  if (const auto error = openOrMakeDirectory(top.get(), own.c_str(), 0700, trash.root)) return error;
  if (::fstat(trash.root.get(), &info) != 0) return lastError();
  if (info.st_uid != ::getuid() || info.st_dev != device) return std::make_error_code(std::errc::permission_denied);
  trash.topdir = topdir;
  trash.path = topdir / own;
  return openTrashParts(trash);
}

std::error_code openTrashFor(const TrashRequest& request, dev_t device, TrashFolder& trash) {
  const fs::path home = dataHome(request.home) / "Trash";
  if (deviceOfNearestExisting(home) == device) {
    if (const auto error = openOrMakePath(home, 0700, trash.root)) return error;
    trash.path = home;
    return openTrashParts(trash);
  }
  return openVolumeTrash(topDirectory(request.originalPath.parent_path(), device), device, trash);
}

std::string deletionDate() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&now, &local);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local);
  return text;
}

std::string candidateName(const std::string& name, int n) {
  if (n == 1) return name;
  const size_t dot = name.rfind('.');
  if (dot == std::string::npos || dot == 0) return name + "_" + std::to_string(n);
  return name.substr(0, dot) + "_" + std::to_string(n) + name.substr(dot);
}

}  // namespace

TrashMove moveToTrash(const TrashRequest& request) {
  struct stat item {};
  if (::fstatat(request.parentFd, request.name.c_str(), &item, AT_SYMLINK_NOFOLLOW) != 0) return {lastError()};
  TrashFolder trash;
  if (const auto error = openTrashFor(request, item.st_dev, trash)) return {error};
  struct stat root {};
  if (::fstat(trash.files.get(), &root) != 0) return {lastError()};
  if (root.st_dev != item.st_dev) return {std::make_error_code(std::errc::cross_device_link)};

  const std::string recorded = trash.topdir.empty() ? request.originalPath.string()
                                                    : request.originalPath.lexically_relative(trash.topdir).string();
  const std::string info = encodeTrashInfo({recorded, deletionDate()});
  for (int n = 1; n < 100000; ++n) {
    const std::string candidate = candidateName(request.name, n);
    const std::string infoName = candidate + ".trashinfo";
    // The info file is created first and exclusively: it reserves the name against other tools.
    Fd infoFd(::openat(trash.info.get(), infoName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!infoFd.valid()) {
      if (errno == EEXIST) continue;
      return {lastError()};
    }
    struct stat taken {};
    if (::fstatat(trash.files.get(), candidate.c_str(), &taken, AT_SYMLINK_NOFOLLOW) == 0) {
      (void)::unlinkat(trash.info.get(), infoName.c_str(), 0);
      continue;
    }
    if (!writeAll(infoFd.get(), info) || ::fsync(infoFd.get()) != 0) {
      const auto error = lastError();
      (void)::unlinkat(trash.info.get(), infoName.c_str(), 0);
      return {error};
    }
    if (const auto error = renameNoReplace(request.parentFd, request.name, trash.files.get(), candidate)) {
      (void)::unlinkat(trash.info.get(), infoName.c_str(), 0);
      if (error == std::errc::file_exists) continue;
      return {error};
    }
    if (request.isDirectory) {
      struct stat written {};
      const std::time_t mtime = ::fstat(infoFd.get(), &written) == 0 ? written.st_mtime : std::time(nullptr);
      rewriteDirectorySizes(trash.root.get(), trash.files.get(), candidate,
                            DirectorySizeEntry{request.byteSize, static_cast<std::int64_t>(mtime), candidate});
    }
    return {{}, trash.path / "files", candidate};
  }
  return {std::make_error_code(std::errc::file_exists)};
}

bool finderAvailable() { return false; }

namespace {

// A Trash folder of the user's: a real folder (not a link) that the user owns.
bool isOwnTrash(const fs::path& root) {
  struct stat info {};
  return ::lstat(root.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == ::getuid();
}

bool kernelFolder(const std::string& path) {
  for (const std::string_view folder : {"/proc", "/sys", "/dev"}) {
    if (path == folder || (path.starts_with(folder) && path[folder.size()] == '/')) return true;
  }
  return false;
}

}  // namespace

std::vector<TrashLocation> userTrashes(const fs::path& home) {
  std::vector<TrashLocation> trashes;
  const auto add = [&](const fs::path& root, const fs::path& topdir) {
    const TrashLocation location{root / "files", root / "info", topdir};
    if (!isOwnTrash(root) || !isOwnTrash(location.items)) return;
    for (const auto& known : trashes) {
      if (known.items == location.items) return;
    }
    trashes.push_back(location);
  };
  add(dataHome(home) / "Trash", {});
  const std::string uid = std::to_string(::getuid());
  for (const auto& mount : mountTable()) {
    // A network share may not answer, and looking inside an automount point mounts it; kernel
    // file systems hold no Trash, and none can be emptied on a read-only volume.
    if ((mount.flags & kMountLocal) == 0 || (mount.flags & kMountReadOnly) != 0 || mount.type == "autofs" ||
        kernelFolder(mount.path)) {
      continue;
    }
    const fs::path top(mount.path);
    struct stat shared {};
    const fs::path admin = top / ".Trash";
    if (::lstat(admin.c_str(), &shared) == 0 && S_ISDIR(shared.st_mode) && (shared.st_mode & S_ISVTX)) {
      add(admin / uid, top);
    }
    add(top / (".Trash-" + uid), top);
  }
  return trashes;
}

std::error_code renameNoReplace(int fromFd, const std::string& from, int toFd, const std::string& to) {
  if (::renameat2(fromFd, from.c_str(), toFd, to.c_str(), RENAME_NOREPLACE) == 0) return {};
  return lastError();
}

}  // namespace tidyloom::platform
