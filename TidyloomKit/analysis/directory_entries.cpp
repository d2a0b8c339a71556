// Shallow folder listing with readdir and fstatat relative to the open folder.
#include "analysis/directory_entries.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace tidyloom {
namespace {

FileTime fileTime(const timespec& time) {
  using namespace std::chrono;
  return FileTime{seconds{time.tv_sec} + duration_cast<microseconds>(nanoseconds{time.tv_nsec})};
}

}  // namespace

std::vector<DirectoryEntry> readDirectoryEntries(const std::string& path) {
  std::vector<DirectoryEntry> entries;
  const int fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) return entries;
  DIR* dir = ::fdopendir(fd);
  if (dir == nullptr) {
    ::close(fd);
    return entries;
  }
  while (const dirent* item = ::readdir(dir)) {
    const std::string_view name = item->d_name;
    if (name == "." || name == "..") continue;
    DirectoryEntry entry{.name = std::string(name)};
    // The listing's own type saves a status call for links and special files.
    if (item->d_type == DT_LNK) {
      entry.type = EntryType::symlink;
    } else if (item->d_type == DT_REG || item->d_type == DT_DIR || item->d_type == DT_UNKNOWN) {
      struct stat status {};
      if (::fstatat(fd, item->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) continue;  // gone meanwhile
      entry.type = S_ISREG(status.st_mode)   ? EntryType::regular
                   : S_ISDIR(status.st_mode) ? EntryType::directory
                   : S_ISLNK(status.st_mode) ? EntryType::symlink
                                             : EntryType::other;
      entry.device = static_cast<std::uint64_t>(status.st_dev);
      entry.logicalSize = static_cast<std::uint64_t>(std::max<off_t>(status.st_size, 0));
      entry.allocatedSize = static_cast<std::uint64_t>(std::max<blkcnt_t>(status.st_blocks, 0)) * 512;
      entry.accessed = fileTime(status.st_atim);
      entry.modified = fileTime(status.st_mtim);
    }
    entries.push_back(std::move(entry));
  }
  ::closedir(dir);
  return entries;
}

std::optional<std::uint64_t> deviceOf(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  return static_cast<std::uint64_t>(status.st_dev);
}

}  // namespace tidyloom
