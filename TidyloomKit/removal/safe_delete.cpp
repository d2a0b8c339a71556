// Descriptor-based recursive removal: openat(O_NOFOLLOW|O_DIRECTORY), identity checks, unlinkat.
#include "removal/safe_delete.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "platform/system_paths.h"

namespace tidyloom {
namespace fs = std::filesystem;
namespace {

std::error_code lastError() { return {errno, std::generic_category()}; }

ItemIdentity identityFrom(const struct stat& info) {
  return {static_cast<std::uint64_t>(info.st_dev), static_cast<std::uint64_t>(info.st_ino),
          static_cast<mode_t>(info.st_mode & S_IFMT)};
}

// The entry names of an open folder. Read before anything is removed, so removal never races the
// directory stream. Takes its own duplicate of the descriptor.
std::error_code listNames(int directoryFd, std::vector<std::string>& names) {
  const int copy = ::fcntl(directoryFd, F_DUPFD_CLOEXEC, 0);
  if (copy < 0) return lastError();
  DIR* dir = ::fdopendir(copy);
  if (!dir) {
    const auto error = lastError();
    (void)::close(copy);
    return error;
  }
  ::rewinddir(dir);
  errno = 0;
  while (const dirent* entry = ::readdir(dir)) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  const auto error = errno ? lastError() : std::error_code{};
  ::closedir(dir);
  return error;
}

// Opens folder `name` in `parentFd` for reading, only if it is still the folder that was checked.
std::error_code openCheckedDirectory(int parentFd, const std::string& name, const ItemIdentity& expected,
                                     UniqueFd& out) {
  out.reset(::openat(parentFd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY));
  if (!out.valid()) return lastError();
  struct stat info {};
  if (::fstat(out.get(), &info) != 0) return lastError();
  if (identityFrom(info) != expected) return std::error_code(ESTALE, std::generic_category());
  return {};
}

bool isMountBoundary(int parentFd, const std::string& name, const ItemIdentity& item, std::uint64_t device) {
  if (item.device != device) return true;
  return platform::isMountRootAt(parentFd, name.c_str()).value_or(false);
}

class TreeRemover {
 public:
  TreeRemover(std::uint64_t device, const CancellationToken& token) : device_(device), token_(token) {}

  void remove(int parentFd, const std::string& name, const ItemIdentity& expected) {
    if (token_.stop_requested()) return note(std::make_error_code(std::errc::operation_canceled));
    if (expected.type != S_IFDIR) {
      if (::unlinkat(parentFd, name.c_str(), 0) != 0 && errno != ENOENT) note(lastError());
      return;
    }
    if (isMountBoundary(parentFd, name, expected, device_))
      return note(std::make_error_code(std::errc::cross_device_link));
    UniqueFd dir;
    if (const auto error = openCheckedDirectory(parentFd, name, expected, dir)) return note(error);
    std::vector<std::string> names;
    if (const auto error = listNames(dir.get(), names)) note(error);
    for (const auto& child : names) {
      struct stat info {};
      if (::fstatat(dir.get(), child.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno != ENOENT) note(lastError());
        continue;
      }
      remove(dir.get(), child, identityFrom(info));
    }
    dir.reset();
    if (::unlinkat(parentFd, name.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT) note(lastError());
  }

  std::error_code firstError() const { return first_; }

 private:
  void note(std::error_code error) {
    if (!first_) first_ = error;
  }

  std::uint64_t device_;
  const CancellationToken& token_;
  std::error_code first_;
};

void makeWritable(int parentFd, const std::string& name, const ItemIdentity& expected, std::uint64_t device,
                  bool& changed) {
  if (expected.type != S_IFDIR || isMountBoundary(parentFd, name, expected, device)) return;
  UniqueFd dir;
  if (openCheckedDirectory(parentFd, name, expected, dir)) return;
  struct stat info {};
  if (::fstat(dir.get(), &info) != 0) return;
  if (info.st_uid == ::getuid() && !(info.st_mode & S_IWUSR)) {
    if (::fchmod(dir.get(), (info.st_mode & 07777) | S_IWUSR) == 0) changed = true;
  }
  std::vector<std::string> names;
  (void)listNames(dir.get(), names);
  for (const auto& child : names) {
    if (::fstatat(dir.get(), child.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) continue;
    makeWritable(dir.get(), child, identityFrom(info), device, changed);
  }
}

std::error_code checkIdentity(int parentFd, const std::string& name, const ItemIdentity& expected) {
  struct stat info {};
  if (::fstatat(parentFd, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) return lastError();
  if (identityFrom(info) != expected) return std::error_code(ESTALE, std::generic_category());
  return {};
}

}  // namespace

std::error_code identityOf(const fs::path& path, ItemIdentity& out) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0) return lastError();
  out = identityFrom(info);
  return {};
}

std::error_code resolveItem(const fs::path& path, OpenedItem& out) {
  fs::path normal = path.lexically_normal();
  if (!normal.has_filename()) normal = normal.parent_path();
  const std::string name = normal.filename().string();
  if (!normal.is_absolute() || name.empty() || name == "." || name == ".." || normal == normal.root_path()) {
    return std::make_error_code(std::errc::invalid_argument);
  }
  // The one name lookup that may follow links: the path as the user gave it.
  std::error_code error;
  const fs::path parent = fs::canonical(normal.parent_path(), error);
  if (error) return error;
  UniqueFd fd(::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!fd.valid()) return lastError();
  for (const auto& component : parent.relative_path()) {
    UniqueFd next(platform::openDirectoryForLookup(fd.get(), component.c_str()));
    // A component that became a link after it was resolved fails here rather than being followed.
    if (!next.valid()) return lastError();
    fd = std::move(next);
  }
  struct stat info {};
  if (::fstatat(fd.get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) return lastError();
  // Judged later by where the held folder is now, not by the string that led to it.
  const auto where = platform::pathOfDirectory(fd.get());
  if (!where) return std::make_error_code(std::errc::no_such_file_or_directory);
  out.parent = std::move(fd);
  out.parentPath = *where;
  out.name = name;
  out.identity = identityFrom(info);
  return {};
}

std::error_code openItem(const fs::path& path, const ItemIdentity& expected, OpenedItem& out) {
  if (const auto error = resolveItem(path, out)) return error;
  if (out.identity != expected) return std::error_code(ESTALE, std::generic_category());
  return {};
}

std::error_code OpenedItem::checkUnchanged() const { return checkIdentity(parent.get(), name, identity); }

bool OpenedItem::isGone() const {
  struct stat info {};
  return ::fstatat(parent.get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0 && errno == ENOENT;
}

std::error_code SafeDelete::removeAt(int parentFd, const std::string& name, const ItemIdentity& expected,
                                     const CancellationToken& token) {
  if (const auto mismatch = checkIdentity(parentFd, name, expected)) return mismatch;
  struct stat parentInfo {};
  if (::fstat(parentFd, &parentInfo) != 0) return lastError();
  // A folder that is itself a mount point is another file system: never entered.
  if (expected.type == S_IFDIR && isMountBoundary(parentFd, name, expected, parentInfo.st_dev)) {
    return std::make_error_code(std::errc::cross_device_link);
  }
  TreeRemover remover(expected.device, token);
  remover.remove(parentFd, name, expected);
  return remover.firstError();
}

bool makeOwnedDirectoriesWritable(int parentFd, const std::string& name) {
  struct stat info {};
  if (::fstatat(parentFd, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) return false;
  bool changed = false;
  makeWritable(parentFd, name, identityFrom(info), info.st_dev, changed);
  return changed;
}

}  // namespace tidyloom
