// Size measurement with directory descriptors: no symbolic link is followed, no mount is crossed.
#include "removal/file_measure.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <set>
#include <utility>

#include "core/unique_fd.h"
#include "platform/private_size.h"

namespace tidyloom {
namespace {

using Inode = std::pair<std::uint64_t, std::uint64_t>;  // (device, inode)

std::uint64_t regularFileBytes(int directoryFd, const char* name, const struct stat& info, const ScanTallyRef& tally) {
  if (tally) tally->add();
  const auto allocated = static_cast<std::uint64_t>(info.st_blocks) * 512u;
  // A file with several links shares its blocks with them; its private size would not be freed.
  if (info.st_nlink != 1) return allocated;
  const auto privateBytes = platform::privateSize(directoryFd, name);
  return privateBytes ? std::min(allocated, *privateBytes) : allocated;
}

class DirectoryBytes {
 public:
  DirectoryBytes(dev_t device, const ScanTallyRef& tally, const CancellationToken& token)
      : device_(device), tally_(tally), token_(token) {}

  std::uint64_t sum(int directoryFd) {
    // fdopendir owns the descriptor from here on; closedir releases it.
    DIR* dir = ::fdopendir(directoryFd);
    if (!dir) {
      (void)::close(directoryFd);
      return 0;
    }
    std::uint64_t total = 0;
    while (const dirent* entry = token_.stop_requested() ? nullptr : ::readdir(dir)) {
      const std::string_view name = entry->d_name;
      if (name == "." || name == "..") continue;
      struct stat info {};
      if (::fstatat(::dirfd(dir), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0) continue;
      if (info.st_dev != device_) continue;
      if (info.st_nlink > 1 && !S_ISDIR(info.st_mode) && !seen_.insert({info.st_dev, info.st_ino}).second) continue;
      if (S_ISREG(info.st_mode)) {
        total += regularFileBytes(::dirfd(dir), entry->d_name, info, tally_);
      } else if (S_ISDIR(info.st_mode)) {
        const int child = ::openat(::dirfd(dir), entry->d_name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (child >= 0) total += sum(child);
      }
    }
    ::closedir(dir);
    return total;
  }

 private:
  dev_t device_;
  const ScanTallyRef& tally_;
  const CancellationToken& token_;
  std::set<Inode> seen_;
};

}  // namespace

std::uint64_t FileMeasure::byteSize(const std::filesystem::path& url, const ScanTallyRef& tally,
                                    const CancellationToken& token) {
  return byteSizeAt(AT_FDCWD, url.c_str(), tally, token);
}

std::uint64_t FileMeasure::byteSizeAt(int parentFd, const char* name, const ScanTallyRef& tally,
                                      const CancellationToken& token) {
  struct stat info {};
  if (::fstatat(parentFd, name, &info, AT_SYMLINK_NOFOLLOW) != 0) return 0;
  if (S_ISREG(info.st_mode)) return regularFileBytes(parentFd, name, info, tally);
  if (!S_ISDIR(info.st_mode)) return 0;
  const int fd = ::openat(parentFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) return 0;
  struct stat opened {};
  // The folder measured must be the one just looked at, not one swapped in between.
  if (::fstat(fd, &opened) != 0 || opened.st_ino != info.st_ino || opened.st_dev != info.st_dev) {
    (void)::close(fd);
    return 0;
  }
  return DirectoryBytes(info.st_dev, tally, token).sum(fd);
}

}  // namespace tidyloom
