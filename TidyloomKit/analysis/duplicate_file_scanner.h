// DuplicateFileScanner: sets of files with identical content under a folder, narrowed by size,
// SHA-256 of the first 64 KiB, then SHA-256 of the rest, hard links counted once.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "analysis/duplicate_group.h"
#include "analysis/large_file_scanner.h"

namespace tidyloom {

enum class DuplicateScanPhase { searching, comparing };

struct DuplicateScanProgress {
  DuplicateScanPhase phase = DuplicateScanPhase::searching;
  std::string currentPath{};
  std::uint64_t comparedBytes = 0;
  std::uint64_t totalBytes = 0;  // bytes of every file that shares its size with another
  std::uint64_t wastedBytes = 0;
};
using DuplicateProgressCallback = std::function<void(const DuplicateScanProgress&)>;

struct DuplicateScanResult {
  std::vector<DuplicateGroup> groups{};  // most wasted bytes first, then by name
  bool completed = false;
};

struct DuplicateFileScanner {
  std::filesystem::path home{};
  std::uint64_t minimumBytes = 1'000'000;
  int threads = 2;
  bool skipsPrivacyProtected = false;

  // Blocking: a large-file walk of `root` (phase searching), then the comparison (phase comparing).
  // A stop in either phase gives no groups and `completed` false.
  DuplicateScanResult scan(const std::filesystem::path& root, const DuplicateProgressCallback& progress = {},
                           const ShouldStopCallback& shouldStop = {}) const;

  // The duplicate groups among `candidates`; nullopt when stopped. Files that cannot be read, or
  // that changed size since they were listed, drop out.
  static std::optional<std::vector<DuplicateGroup>> groups(const std::vector<LargeFileItem>& candidates, int threads,
                                                           const DuplicateProgressCallback& progress = {},
                                                           const ShouldStopCallback& shouldStop = {});
};

std::string_view rawValue(DuplicateScanPhase phase);

}  // namespace tidyloom
