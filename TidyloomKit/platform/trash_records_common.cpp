// A Trash's records by descriptor: the folder-size cache, the listing of trashed items with their
// .trashinfo, and forgetting an item that left. POSIX calls only, the same on every platform.
#include "platform/trash_records.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <sstream>
#include <utility>

#include "platform/trash.h"

namespace tidyloom::platform {
namespace fs = std::filesystem;
namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

bool exists(int folderFd, const std::string& name) {
  struct stat info {};
  return ::fstatat(folderFd, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0;
}

// The Trash folder itself, opened without following a link and only when the user owns it.
Fd openOwnedFolder(const fs::path& path) {
  Fd fd(::open(path.c_str(), kFolderFlags));
  struct stat info {};
  if (!fd.valid() || ::fstat(fd.get(), &info) != 0 || info.st_uid != ::getuid()) return Fd();
  return fd;
}

}  // namespace

std::string readAll(int fd) {
  std::string text;
  char buffer[65536];
  for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0 || (n < 0 && errno == EINTR);) {
    if (n > 0) text.append(buffer, static_cast<size_t>(n));
  }
  return text;
}

bool writeAll(int fd, const std::string& data) {
  size_t done = 0;
  while (done < data.size()) {
    const ssize_t n = ::write(fd, data.data() + done, data.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

void rewriteDirectorySizes(int rootFd, int filesFd, const std::string& drop,
                           const std::optional<DirectorySizeEntry>& add) {
  std::string existing;
  if (Fd in(::openat(rootFd, "directorysizes", O_RDONLY | O_NOFOLLOW | O_CLOEXEC)); in.valid()) {
    existing = readAll(in.get());
  } else if (!add) {
    return;  // nothing cached, nothing to add
  }
  std::ostringstream out;
  std::istringstream lines(existing);
  for (std::string line; std::getline(lines, line);) {
    const auto entry = parseDirectorySizeLine(line);
    if (!entry || entry->name == drop || (add && entry->name == add->name) || !exists(filesFd, entry->name)) continue;
    out << line << '\n';
  }
  if (add) out << encodeDirectorySizeLine(*add) << '\n';
  const std::string temp = ".directorysizes." + std::to_string(::getpid()) + ".tmp";
  Fd fd(::openat(rootFd, temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!fd.valid()) return;
  if (writeAll(fd.get(), out.str())) {
    (void)::renameat(rootFd, temp.c_str(), rootFd, "directorysizes");
  } else {
    (void)::unlinkat(rootFd, temp.c_str(), 0);
  }
}

TrashLocation trashLocationOf(const fs::path& folder) {
  const fs::path items = folder.lexically_normal();
  if (items.filename() != "files") return {items, {}, {}};
  const fs::path info = items.parent_path() / "info";
  struct stat record {};
  if (::lstat(info.c_str(), &record) != 0 || !S_ISDIR(record.st_mode)) return {items, {}, {}};
  // A Trash at the top of a volume records paths relative to that top.
  const fs::path root = items.parent_path();
  const std::string rootName = root.filename().string();
  const bool onVolume = rootName.starts_with(".Trash-") || root.parent_path().filename() == ".Trash";
  fs::path topdir;
  if (onVolume) topdir = rootName.starts_with(".Trash-") ? root.parent_path() : root.parent_path().parent_path();
  return {items, info, topdir};
}

std::vector<TrashEntry> trashEntries(const TrashLocation& trash) {
  std::vector<TrashEntry> entries;
  Fd items(::open(trash.items.c_str(), kFolderFlags));
  if (!items.valid()) return entries;
  Fd info = trash.info.empty() ? Fd() : Fd(::open(trash.info.c_str(), kFolderFlags));
  DIR* listing = ::fdopendir(::dup(items.get()));
  if (listing == nullptr) return entries;
  while (const dirent* entry = ::readdir(listing)) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    // macOS keeps its folder view settings in the Trash; it is no trashed item.
    if (trash.info.empty() && name == ".DS_Store") continue;
    TrashEntry item{name, std::nullopt, std::nullopt};
    if (info.valid()) {
      Fd record(::openat(info.get(), (name + ".trashinfo").c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
      if (record.valid()) {
        if (const auto parsed = parseTrashInfo(readAll(record.get()))) {
          const fs::path recorded(parsed->path);
          item.originalPath = (recorded.is_absolute() ? recorded : trash.topdir / recorded).lexically_normal().string();
          item.deletionDate = parsed->deletionDate;
        }
      }
    }
    entries.push_back(std::move(item));
  }
  ::closedir(listing);
  return entries;
}

void forgetTrashed(const TrashLocation& trash, const std::string& name) {
  if (trash.info.empty() || name.empty() || name.find('/') != std::string::npos) return;
  const Fd root = openOwnedFolder(trash.info.parent_path());
  if (!root.valid()) return;
  const Fd files(::openat(root.get(), trash.items.filename().c_str(), kFolderFlags));
  const Fd info(::openat(root.get(), trash.info.filename().c_str(), kFolderFlags));
  if (!files.valid() || !info.valid() || exists(files.get(), name)) return;
  (void)::unlinkat(info.get(), (name + ".trashinfo").c_str(), 0);
  rewriteDirectorySizes(root.get(), files.get(), name, std::nullopt);
}

}  // namespace tidyloom::platform
