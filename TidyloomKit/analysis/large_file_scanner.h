// LargeFileScanner: a multi-threaded walk that collects every file (and, on request, every document
// package) whose counted size reaches a minimum.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string_view>

#include "analysis/large_file_item.h"
#include "core/scan_progress.h"

namespace tidyloom {

using LargeFileProgressCallback = std::function<void(const LargeFileScanProgress&)>;
using ShouldStopCallback = std::function<bool()>;

struct LargeFileScanner {
  std::filesystem::path home{};
  std::uint64_t minimumBytes = 100'000'000;
  int threads = 2;
  bool listsPackages = false;
  bool skipsPrivacyProtected = false;
  ScanTallyRef tally{};  // credited with the files seen, when set

  // The folder to scan for a volume: the home folder on the startup volume "/", else the volume itself.
  static std::filesystem::path scanRoot(const std::filesystem::path& volume, const std::filesystem::path& home);

  // Blocking. `progress` and `shouldStop` are called from worker threads, at most every 80 ms;
  // a stopped scan returns what it found with `completed` false. Unreadable folders are passed over.
  LargeFileScanResult scan(const std::filesystem::path& root, const LargeFileProgressCallback& progress = {},
                           const ShouldStopCallback& shouldStop = {}) const;

  // The kind of a path from its extension, asked of the platform's type registry once per extension.
  static LargeFileKind kind(std::string_view path);
};

}  // namespace tidyloom
