// macOS bulk read: getattrlistbulk into one 64 KiB buffer per call, all attributes in one pass.
#include <fcntl.h>
#include <sys/attr.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "platform/bulk_reader.h"

namespace tidyloom::platform {
namespace {

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// Reads one packed attribute and advances past it.
template <class T>
T take(const char*& cursor) {
  T value;
  std::memcpy(&value, cursor, sizeof value);
  cursor += sizeof value;
  return value;
}

// Object types of ATTR_CMN_OBJTYPE (enum vtype of <sys/vnode.h>, a header not every SDK ships).
constexpr fsobj_type_t kRegular = 1;
constexpr fsobj_type_t kDirectory = 2;
constexpr fsobj_type_t kSymlink = 5;

EntryKind kindOfObject(fsobj_type_t type) {
  switch (type) {
    case kRegular:
      return EntryKind::regular;
    case kDirectory:
      return EntryKind::directory;
    case kSymlink:
      return EntryKind::symlink;
    default:
      return EntryKind::other;
  }
}

}  // namespace

DirectoryReader::DirectoryReader(const std::string& path) {
  fd_ = ::open(path.c_str(), kDirectoryFlags);
  error_ = fd_ < 0 ? errno : 0;
  describeOpenDescriptor();
}

DirectoryReader::DirectoryReader(const DirectoryReader& parent, std::string_view name) {
  const std::string child(name);
  fd_ = ::openat(parent.fd_, child.c_str(), kDirectoryFlags);
  error_ = fd_ < 0 ? errno : 0;
  describeOpenDescriptor();
}

void DirectoryReader::describeOpenDescriptor() {
  if (fd_ < 0) return;
  struct stat st {};
  if (::fstat(fd_, &st) == 0) device_ = static_cast<std::uint64_t>(st.st_dev);
  // Mount points are reported per entry by the bulk read (ATTR_DIR_MOUNTSTATUS).
}

bool DirectoryReader::readEntries(const BulkReadOptions& options, VisitFn visit, void* context) {
  if (fd_ < 0) return false;
  struct attrlist request {};
  request.bitmapcount = ATTR_BIT_MAP_COUNT;
  // Times and the file id are always requested so the packed layout below is fixed.
  request.commonattr = ATTR_CMN_RETURNED_ATTRS | ATTR_CMN_ERROR | ATTR_CMN_NAME | ATTR_CMN_DEVID | ATTR_CMN_OBJTYPE |
                       ATTR_CMN_MODTIME | ATTR_CMN_ACCTIME | ATTR_CMN_FILEID;
  request.dirattr = ATTR_DIR_MOUNTSTATUS;
  request.fileattr = ATTR_FILE_ALLOCSIZE | ATTR_FILE_DATALENGTH;
  (void)options;

  const std::unique_ptr<std::uint64_t[]> storage(new std::uint64_t[kBulkBufferBytes / sizeof(std::uint64_t)]);
  char* const buffer = reinterpret_cast<char*>(storage.get());
  for (;;) {
    const int count = ::getattrlistbulk(fd_, &request, buffer, kBulkBufferBytes, FSOPT_PACK_INVAL_ATTRS);
    if (count == 0) return true;
    if (count < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    const char* record = buffer;
    for (int i = 0; i < count; ++i) {
      const char* cursor = record;
      const auto length = take<std::uint32_t>(cursor);
      const auto returned = take<attribute_set_t>(cursor);
      const auto error = take<std::uint32_t>(cursor);
      const char* nameField = cursor;
      const auto nameRef = take<attrreference_t>(cursor);
      const auto device = take<dev_t>(cursor);
      const auto type = take<fsobj_type_t>(cursor);
      const auto modified = take<struct timespec>(cursor);
      const auto accessed = take<struct timespec>(cursor);
      const auto fileId = take<std::uint64_t>(cursor);
      const auto mountStatus = take<std::uint32_t>(cursor);
      const auto allocated = take<off_t>(cursor);
      const auto logical = take<off_t>(cursor);

      BulkEntry entry;
      const char* name = nameField + nameRef.attr_dataoffset;
      entry.name = std::string_view(name, std::strlen(name));
      entry.kind = kindOfObject(type);
      entry.error = static_cast<int>(error);
      if (entry.error == 0) {
        if (returned.commonattr & ATTR_CMN_DEVID) {
          entry.device = static_cast<std::uint64_t>(device);
          entry.hasDevice = true;
        }
        if (entry.kind == EntryKind::directory) {
          entry.isMountPoint = (returned.dirattr & ATTR_DIR_MOUNTSTATUS) && (mountStatus & DIR_MNTSTATUS_MNTPOINT);
        } else if (entry.kind == EntryKind::regular) {
          entry.allocatedBytes = (returned.fileattr & ATTR_FILE_ALLOCSIZE) && allocated > 0 ? allocated : 0;
          entry.logicalBytes = (returned.fileattr & ATTR_FILE_DATALENGTH) && logical > 0 ? logical : 0;
          entry.accessSeconds = accessed.tv_sec;
          entry.modificationSeconds = modified.tv_sec;
          entry.inode = fileId;
        }
      }
      visit(context, entry);
      record += length;
    }
  }
}

}  // namespace tidyloom::platform
