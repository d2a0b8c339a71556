// Linux bulk read: getdents64 into one 64 KiB buffer per call, statx relative to the directory's
// descriptor for regular files only. Directories are typed by d_type and never stat-ed here.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>

#include "platform/bulk_reader.h"

namespace tidyloom::platform {
namespace {

// The kernel's record header for getdents64 (glibc 2.36 has no public type for it); the name
// follows the type byte directly.
struct LinuxDirent64Header {
  std::uint64_t d_ino;
  std::int64_t d_off;
  unsigned short d_reclen;
  unsigned char d_type;
};
constexpr size_t kDirentNameOffset = offsetof(LinuxDirent64Header, d_type) + 1;
static_assert(kDirentNameOffset == 19);

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
// Never trigger an automounter while measuring, never follow the entry if it is a link.
constexpr int kEntryStatFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;

EntryKind kindOfMode(unsigned mode) {
  if (S_ISREG(mode)) return EntryKind::regular;
  if (S_ISDIR(mode)) return EntryKind::directory;
  if (S_ISLNK(mode)) return EntryKind::symlink;
  return EntryKind::other;
}

EntryKind kindOfDirentType(unsigned char type) {
  switch (type) {
    case DT_REG:
      return EntryKind::regular;
    case DT_DIR:
      return EntryKind::directory;
    case DT_LNK:
      return EntryKind::symlink;
    default:
      return EntryKind::other;
  }
}

int openDirectory(int at, const char* path, int& error) {
  int fd;
  do {
    fd = ::openat(at, path, kDirectoryFlags);
  } while (fd < 0 && errno == EINTR);
  error = fd < 0 ? errno : 0;
  return fd;
}

void fillFile(BulkEntry& entry, const struct statx& st) {
  entry.allocatedBytes = static_cast<std::uint64_t>(st.stx_blocks) * 512;
  entry.logicalBytes = st.stx_size;
  entry.accessSeconds = st.stx_atime.tv_sec;
  entry.modificationSeconds = st.stx_mtime.tv_sec;
  entry.inode = st.stx_ino;
  entry.device = makedev(st.stx_dev_major, st.stx_dev_minor);
  entry.hasDevice = true;
}

}  // namespace

DirectoryReader::DirectoryReader(const std::string& path) {
  fd_ = openDirectory(AT_FDCWD, path.c_str(), error_);
  describeOpenDescriptor();
}

DirectoryReader::DirectoryReader(const DirectoryReader& parent, std::string_view name) {
  const std::string child(name);
  fd_ = openDirectory(parent.fd_, child.c_str(), error_);
  describeOpenDescriptor();
}

void DirectoryReader::describeOpenDescriptor() {
  if (fd_ < 0) return;
  struct statx st {};
  if (::statx(fd_, "", AT_EMPTY_PATH, STATX_TYPE, &st) == 0) {
    device_ = makedev(st.stx_dev_major, st.stx_dev_minor);
    mountRoot_ =
        (st.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) != 0 && (st.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
  }
}

bool DirectoryReader::readEntries(const BulkReadOptions& options, VisitFn visit, void* context) {
  if (fd_ < 0) return false;
  unsigned mask = STATX_TYPE | STATX_SIZE | STATX_BLOCKS;
  if (options.times) mask |= STATX_ATIME | STATX_MTIME;
  if (options.identity) mask |= STATX_INO;

  // One buffer per read (not per thread): a visitor may read a nested directory meanwhile.
  const std::unique_ptr<std::uint64_t[]> storage(new std::uint64_t[kBulkBufferBytes / sizeof(std::uint64_t)]);
  char* const buffer = reinterpret_cast<char*>(storage.get());
  for (;;) {
    const long count = ::syscall(SYS_getdents64, fd_, buffer, kBulkBufferBytes);
    if (count == 0) return true;
    if (count < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    for (long offset = 0; offset < count;) {
      const auto* record = reinterpret_cast<const LinuxDirent64Header*>(buffer + offset);
      const char* name = buffer + offset + kDirentNameOffset;
      offset += record->d_reclen;
      if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'))) continue;

      BulkEntry entry;
      entry.name = std::string_view(name, std::strlen(name));
      entry.kind = kindOfDirentType(record->d_type);
      const bool unknown = record->d_type == DT_UNKNOWN;
      if (entry.kind == EntryKind::regular || unknown) {
        struct statx st {};
        if (::statx(fd_, name, kEntryStatFlags, mask, &st) != 0) {
          entry.error = errno;
        } else {
          // Trust what statx saw over d_type: the entry may have been replaced in between.
          entry.kind = kindOfMode(st.stx_mode);
          if (entry.kind == EntryKind::regular) fillFile(entry, st);
        }
      }
      visit(context, entry);
    }
  }
}

}  // namespace tidyloom::platform
