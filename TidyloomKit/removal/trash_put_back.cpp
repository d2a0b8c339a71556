// Put-back by descriptor: the Trash folder and every parent of the destination are opened without
// following links; the item moves with a rename that never replaces anything.
#include "removal/trash_put_back.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "core/unique_fd.h"
#include "l10n/l10n.h"
#include "platform/file_times.h"
#include "platform/trash.h"

namespace tidyloom {
namespace fs = std::filesystem;
namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// The file browser moved it (an application bundle) and keeps the only record of where it went.
std::string movedByFileBrowser() { return L10n::translate("由访达移到废纸篓，请在访达中用“放回原处”恢复"); }

std::string notInTrashReason() { return L10n::translate("已不在废纸篓中（已清空或已被其他程序放回），无法恢复"); }

// The Trash folder of a record, when it is still the user's own real folder.
UniqueFd openTrashFolder(const TrashedItem& item) {
  UniqueFd fd(::open(item.trashFolder.c_str(), kFolderFlags));
  struct stat info {};
  if (!fd.valid() || ::fstat(fd.get(), &info) != 0 || info.st_uid != ::getuid()) return UniqueFd();
  return fd;
}

bool sameItem(int folderFd, const TrashedItem& item) {
  struct stat info {};
  if (::fstatat(folderFd, item.trashedName.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0 ||
      static_cast<std::uint64_t>(info.st_dev) != item.device || static_cast<std::uint64_t>(info.st_ino) != item.inode) {
    return false;
  }
  return item.birth == 0 || platform::birthNanoseconds(folderFd, item.trashedName.c_str()) == item.birth;
}

bool valid(const TrashedItem& item) {
  const fs::path original(item.path);
  return !item.trashFolder.empty() && !item.trashedName.empty() && item.trashedName.find('/') == std::string::npos &&
         original.is_absolute() && original.has_filename() && original.filename() != ".." &&
         original.lexically_normal() == original;
}

// Opens the folder `path` from "/" one component at a time, never following a link; a missing
// component is made when `create` is set. ENOENT when missing and not made.
std::error_code openFolder(const fs::path& path, bool create, UniqueFd& out) {
  UniqueFd fd(::open("/", kFolderFlags));
  if (!fd.valid()) return {errno, std::generic_category()};
  for (const auto& component : path.relative_path()) {
    if (component.empty()) continue;
    int next = ::openat(fd.get(), component.c_str(), kFolderFlags);
    if (next < 0 && errno == ENOENT && create) {
      if (::mkdirat(fd.get(), component.c_str(), 0777) != 0 && errno != EEXIST) return {errno, std::generic_category()};
      next = ::openat(fd.get(), component.c_str(), kFolderFlags);
    }
    if (next < 0) return {errno, std::generic_category()};
    fd.reset(next);
  }
  out = std::move(fd);
  return {};
}

bool taken(int folderFd, const std::string& name) {
  struct stat info {};
  return ::fstatat(folderFd, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 || errno != ENOENT;
}

std::string failure(const std::error_code& error) {
  switch (error.value()) {
    case ELOOP:
    case ENOTDIR:
      return L10n::translate("原位置的上级文件夹已被替换为链接或文件，未恢复");
    case EXDEV:
      return L10n::translate("原位置现在位于另一个文件系统上，未恢复");
    case EACCES:
    case EPERM:
      return L10n::translate("权限不足");
    case EROFS:
      return L10n::translate("只读文件系统");
    default:
      return error.message();
  }
}

// "name (restored).ext", then "name (restored 2).ext" and so on.
std::string besideName(const std::string& name, int attempt) {
  const std::string label = attempt <= 1 ? " (restored)" : " (restored " + std::to_string(attempt) + ")";
  const size_t dot = name.rfind('.');
  // A leading dot is a hidden name, not an extension.
  if (dot == std::string::npos || dot == 0) return name + label;
  return name.substr(0, dot) + label + name.substr(dot);
}

}  // namespace

bool PutBack::stillTrashed(const TrashedItem& item) {
  if (!valid(item)) return false;
  const UniqueFd folder = openTrashFolder(item);
  return folder.valid() && sameItem(folder.get(), item);
}

PutBack PutBack::preview(const TrashedItem& item) {
  if (item.trashFolder.empty()) return {State::notInTrash, item.path, movedByFileBrowser()};
  if (!stillTrashed(item)) return {State::notInTrash, item.path, notInTrashReason()};
  const fs::path original(item.path);
  UniqueFd parent;
  if (const auto error = openFolder(original.parent_path(), false, parent)) {
    if (error == std::errc::no_such_file_or_directory) return {State::restored, item.path, {}};
    return {State::failed, item.path, failure(error)};
  }
  const std::string name = original.filename().string();
  if (!taken(parent.get(), name)) return {State::restored, item.path, {}};
  for (int attempt = 1; attempt < 1000; ++attempt) {
    const std::string beside = besideName(name, attempt);
    if (!taken(parent.get(), beside)) return {State::restoredBeside, (original.parent_path() / beside).string(), {}};
  }
  return {State::failed, item.path, failure(std::make_error_code(std::errc::file_exists))};
}

PutBack PutBack::restore(const TrashedItem& item) {
  if (item.trashFolder.empty()) return {State::notInTrash, item.path, movedByFileBrowser()};
  if (!valid(item)) return {State::notInTrash, item.path, notInTrashReason()};
  const UniqueFd trash = openTrashFolder(item);
  if (!trash.valid() || !sameItem(trash.get(), item)) return {State::notInTrash, item.path, notInTrashReason()};
  const fs::path original(item.path);
  UniqueFd parent;
  if (const auto error = openFolder(original.parent_path(), true, parent)) {
    return {State::failed, item.path, failure(error)};
  }
  const std::string name = original.filename().string();
  std::string placed = name;
  std::error_code error = platform::renameNoReplace(trash.get(), item.trashedName, parent.get(), name);
  for (int attempt = 1; error == std::errc::file_exists && attempt < 1000; ++attempt) {
    placed = besideName(name, attempt);
    error = platform::renameNoReplace(trash.get(), item.trashedName, parent.get(), placed);
  }
  if (error) return {State::failed, item.path, failure(error)};
  platform::forgetTrashed(platform::trashLocationOf(item.trashFolder), item.trashedName);
  const std::string destination = (original.parent_path() / placed).string();
  return {placed == name ? State::restored : State::restoredBeside, destination, {}};
}

}  // namespace tidyloom
