// Bulk directory reading: one open directory, all its entries with sizes, few system calls.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace tidyloom::platform {

enum class EntryKind : std::uint8_t { regular, directory, symlink, other };

// One entry of a directory as the bulk read returns it. `name` is only valid during the visit.
struct BulkEntry {
  std::string_view name;
  EntryKind kind = EntryKind::other;
  // Non-zero when the entry's attributes could not be read (errno); nothing below is then set.
  int error = 0;
  // Regular files only.
  std::uint64_t allocatedBytes = 0;
  std::uint64_t logicalBytes = 0;
  // Regular files only, when `BulkReadOptions::times` asked for them (seconds since the epoch).
  std::int64_t accessSeconds = 0;
  std::int64_t modificationSeconds = 0;
  // Regular files only, when `BulkReadOptions::identity` asked for them.
  std::uint64_t inode = 0;
  std::uint64_t device = 0;
  bool hasDevice = false;
  // Directories only: the platform says another file system is mounted on it (macOS reports this
  // per entry; Linux reports it when the child is opened, see `DirectoryReader::isMountRoot`).
  bool isMountPoint = false;
};

struct BulkReadOptions {
  bool times = false;
  bool identity = false;
};

// The counted size of a regular file: allocated bytes capped at the logical length, so sparse
// and cloned files are not overcounted.
inline std::uint64_t countedBytes(const BulkEntry& entry) {
  return entry.allocatedBytes < entry.logicalBytes ? entry.allocatedBytes : entry.logicalBytes;
}

// An open directory. Symbolic links are never followed, neither to open it nor for its entries.
class DirectoryReader {
 public:
  DirectoryReader() = default;
  ~DirectoryReader();
  DirectoryReader(DirectoryReader&& other) noexcept { *this = std::move(other); }
  DirectoryReader& operator=(DirectoryReader&& other) noexcept;
  DirectoryReader(const DirectoryReader&) = delete;
  DirectoryReader& operator=(const DirectoryReader&) = delete;

  // Opens `path` read-only as a directory; `error()` is the errno when that failed.
  explicit DirectoryReader(const std::string& path);
  // Opens `name` inside an already open directory (no path lookup from the root again).
  DirectoryReader(const DirectoryReader& parent, std::string_view name);

  bool isOpen() const { return fd_ >= 0; }
  int error() const { return error_; }
  // Read from the open descriptor, so they describe what was opened, not what the name holds now.
  std::uint64_t device() const { return device_; }
  // True when this directory is the root of a mount (where the platform can tell).
  bool isMountRoot() const { return mountRoot_; }

  // Calls `visit(const BulkEntry&)` for every entry except "." and "..". Returns false when the
  // listing failed part way (the entries already visited stay visited).
  template <class Visit>
  bool read(const BulkReadOptions& options, Visit&& visit) {
    return readEntries(options, &visitThunk<Visit>, &visit);
  }

 private:
  using VisitFn = void (*)(void* context, const BulkEntry& entry);
  template <class Visit>
  static void visitThunk(void* context, const BulkEntry& entry) {
    (*static_cast<std::remove_reference_t<Visit>*>(context))(entry);
  }
  bool readEntries(const BulkReadOptions& options, VisitFn visit, void* context);
  void describeOpenDescriptor();

  int fd_ = -1;
  int error_ = 0;
  std::uint64_t device_ = 0;
  bool mountRoot_ = false;
};

// Size of the buffer one directory is read into per system call.
inline constexpr std::size_t kBulkBufferBytes = 64 * 1024;

}  // namespace tidyloom::platform
