// Small file-system helpers shared by the clean sources: lstat facts, listings, bounded walks.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/scan_progress.h"

namespace tidyloom {

struct EntryFacts {
  bool directory = false;
  bool regular = false;
  bool link = false;
  std::int64_t modified = 0;  // seconds since the epoch
};

// lstat facts (links are never followed); nullopt when the entry cannot be read.
std::optional<EntryFacts> entryFacts(const std::filesystem::path& path);
// Names in a folder (without "." and ".."); empty when it cannot be listed.
std::vector<std::string> childNames(const std::filesystem::path& folder);

// Seconds since the epoch, now.
std::int64_t epochSecondsNow();
// True when `modified` is older than `days` days before `now`.
bool olderThanDays(std::int64_t modified, std::int64_t days, std::int64_t now);

// Visits regular files below `root` down to `maxDepth` levels (1: the root's own entries), never
// through links or hidden entries; stops early when `stop` is requested. Visited entries credit
// `tally`.
void walkFiles(const std::filesystem::path& root, int maxDepth, const CancellationToken& stop,
               const ScanTallyRef& tally,
               const std::function<void(const std::filesystem::path&, const EntryFacts&, int depth)>& visit);

// Depth of `path` below `root` (1 for a direct child); nullopt when it is not below it.
std::optional<int> depthBelow(const std::filesystem::path& path, const std::filesystem::path& root);
// True when no component of `path` below `root` (and `path` itself) is a symbolic link.
bool noLinkBetween(const std::filesystem::path& root, const std::filesystem::path& path);

}  // namespace tidyloom
