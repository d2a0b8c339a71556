// One file found by the large-file finder, with the bands and kinds it is grouped by for display.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tidyloom {

// File dates with sub-second precision; microseconds reach back far enough for the distant past.
using FileTime = std::chrono::sys_time<std::chrono::microseconds>;
// What a missing date counts as: before every real date (0001-01-01).
inline constexpr FileTime kDistantPast{std::chrono::sys_days{std::chrono::year{1} / 1 / 1}};

enum class LargeFileKind { archive, image, movie, music, document, other };
enum class LargeFileSizeBand { huge, large };
enum class LargeFileAgeBand { overYear, overMonth, overWeek, recent };

// Raw values ("archive", "huge", "overYear", ...) and localised display titles.
std::string_view rawValue(LargeFileKind kind);
std::string_view rawValue(LargeFileSizeBand band);
std::string_view rawValue(LargeFileAgeBand band);
std::string title(LargeFileKind kind);
std::string title(LargeFileSizeBand band);
std::string title(LargeFileAgeBand band);

// Files of at least this many counted bytes are `huge`.
inline constexpr std::uint64_t kHugeFileBytes = std::uint64_t{1} << 30;

struct LargeFileItem {
  std::string path{};
  std::uint64_t size = 0;  // counted size: the smaller of allocated and logical size
  FileTime lastUsed = kDistantPast;
  bool isPackage = false;
  LargeFileKind kind = LargeFileKind::other;
  std::uint64_t fileSize = 0;  // logical length

  std::string name() const;
  LargeFileSizeBand sizeBand() const {
    return size >= kHugeFileBytes ? LargeFileSizeBand::huge : LargeFileSizeBand::large;
  }
  LargeFileAgeBand ageBand(FileTime now) const;

  // Identified by path.
  bool operator==(const LargeFileItem& other) const { return path == other.path; }
};

// The later of the content-access and content-modification dates; a missing one is the distant past.
FileTime lastUsedDate(std::optional<FileTime> accessed, std::optional<FileTime> modified);

struct LargeFileScanProgress {
  std::string currentPath{};
  std::uint64_t foundBytes = 0;
  std::int64_t foundCount = 0;
};

struct LargeFileScanResult {
  std::vector<LargeFileItem> items{};  // largest first, equal sizes by path
  bool completed = false;
};

}  // namespace tidyloom

template <>
struct std::hash<tidyloom::LargeFileItem> {
  size_t operator()(const tidyloom::LargeFileItem& item) const noexcept { return std::hash<std::string>{}(item.path); }
};
