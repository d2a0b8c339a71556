// The duplicate finder's stages in the order data flows: size groups, head digests, one file per
// (device, inode), tail digests, groups.
#include "analysis/duplicate_file_scanner.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <mutex>
#include <set>
#include <tuple>

#include "analysis/file_digest.h"
#include "core/batch_map.h"

namespace tidyloom {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kReportInterval = std::chrono::milliseconds(80);

// Counters of the comparison, shared by the readers.
class ComparisonState {
 public:
  ComparisonState(std::uint64_t totalBytes, const DuplicateProgressCallback& progress,
                  const ShouldStopCallback& shouldStop)
      : totalBytes_(totalBytes), progress_(progress), shouldStop_(shouldStop) {}

  // Credits one read; false once the comparison has been stopped.
  bool credit(std::uint64_t bytes, const std::string& path) {
    std::unique_lock lock(mutex_);
    comparedBytes_ += bytes;
    if (stopped_) return false;
    const auto now = Clock::now();
    if (lastReport_ && now - *lastReport_ < kReportInterval) return true;
    lastReport_ = now;
    const DuplicateScanProgress report{DuplicateScanPhase::comparing, path, std::min(comparedBytes_, totalBytes_),
                                       totalBytes_, wastedBytes_};
    lock.unlock();
    const bool stop = shouldStop_ && shouldStop_();
    if (progress_) progress_(report);
    if (!stop) return true;
    lock.lock();
    stopped_ = true;
    return false;
  }

  void addWasted(std::uint64_t bytes) {
    std::lock_guard lock(mutex_);
    wastedBytes_ += bytes;
  }

  bool stopped() {
    std::lock_guard lock(mutex_);
    return stopped_;
  }

 private:
  std::mutex mutex_;
  std::uint64_t totalBytes_;
  const DuplicateProgressCallback& progress_;
  const ShouldStopCallback& shouldStop_;
  std::uint64_t comparedBytes_ = 0;
  std::uint64_t wastedBytes_ = 0;
  bool stopped_ = false;
  std::optional<Clock::time_point> lastReport_;
};

// Keys carry the counted size the groups are formed by and the logical length the digests cover.
struct HeadKey {
  std::uint64_t size;
  std::uint64_t length;
  std::string head;
  auto operator<=>(const HeadKey&) const = default;
};

struct ContentKey {
  std::uint64_t size;
  std::uint64_t length;
  std::string head;
  std::string tail;  // empty for files that fit in the head
  auto operator<=>(const ContentKey&) const = default;
};

struct HeadRead {
  size_t index;  // into the candidates
  FileRead read;
};

struct ContentRead {
  size_t index;
  ContentKey key;
};

// Groups values by key, keeping first-seen order inside each group; groups of one are dropped.
template <class Key, class Value, class KeyOf>
std::vector<std::vector<Value>> groupsOfTwoOrMore(std::vector<Value> values, KeyOf keyOf) {
  std::map<Key, std::vector<Value>> byKey;
  for (auto& value : values) byKey[keyOf(value)].push_back(std::move(value));
  std::vector<std::vector<Value>> result;
  for (auto& [key, members] : byKey) {
    if (members.size() > 1) result.push_back(std::move(members));
  }
  return result;
}

}  // namespace

std::string_view rawValue(DuplicateScanPhase phase) {
  return phase == DuplicateScanPhase::searching ? "searching" : "comparing";
}

std::optional<std::vector<DuplicateGroup>> DuplicateFileScanner::groups(const std::vector<LargeFileItem>& candidates,
                                                                        int threads,
                                                                        const DuplicateProgressCallback& progress,
                                                                        const ShouldStopCallback& shouldStop) {
  // Size step: only files that share their size with another are ever opened.
  std::map<std::uint64_t, size_t> sizeCounts;
  for (const auto& item : candidates) ++sizeCounts[item.size];
  std::vector<size_t> sized;
  std::uint64_t totalBytes = 0;
  for (size_t i = 0; i < candidates.size(); ++i) {
    if (sizeCounts[candidates[i].size] < 2) continue;
    sized.push_back(i);
    totalBytes += candidates[i].fileSize;
  }
  ComparisonState state(totalBytes, progress, shouldStop);
  const auto observer = [&state](const std::string& path) {
    return [&state, &path](std::uint64_t bytes) { return state.credit(bytes, path); };
  };

  // Head step: SHA-256 of the first 64 KiB of what a read sees (the logical length).
  auto heads = parallelMap<HeadRead>(sized, threads, [&](size_t index) -> std::optional<HeadRead> {
    const LargeFileItem& item = candidates[index];
    auto read =
        digestFileRange(item.path, item.fileSize, 0, std::min(item.fileSize, kDigestBlock), observer(item.path));
    if (!read) return std::nullopt;
    return HeadRead{index, std::move(*read)};
  });
  if (state.stopped()) return std::nullopt;

  // Identity step: further hard links to a file already seen are the same file, not a copy.
  std::set<FileIdentity> seen;
  std::erase_if(heads, [&](const HeadRead& head) { return !seen.insert(head.read.identity).second; });

  const auto headGroups = groupsOfTwoOrMore<HeadKey>(std::move(heads), [&](const HeadRead& head) {
    const LargeFileItem& item = candidates[head.index];
    return HeadKey{item.size, item.fileSize, head.read.digest};
  });

  // Tail step: whole-file hashing only where size and head already agree.
  std::vector<HeadRead> grouped;
  for (const auto& group : headGroups) grouped.insert(grouped.end(), group.begin(), group.end());
  auto contents = parallelMap<ContentRead>(grouped, threads, [&](const HeadRead& head) -> std::optional<ContentRead> {
    const LargeFileItem& item = candidates[head.index];
    ContentKey key{item.size, item.fileSize, head.read.digest, {}};
    if (item.fileSize > kDigestBlock) {
      auto tail = digestFileRange(item.path, item.fileSize, kDigestBlock, item.fileSize, observer(item.path));
      // A file replaced since its head was read is not the file we compared.
      if (!tail || tail->identity != head.read.identity) return std::nullopt;
      key.tail = std::move(tail->digest);
    }
    return ContentRead{head.index, std::move(key)};
  });
  if (state.stopped()) return std::nullopt;

  std::vector<DuplicateGroup> result;
  for (auto& members : groupsOfTwoOrMore<ContentKey>(std::move(contents), [](const ContentRead& c) { return c.key; })) {
    const ContentKey& key = members.front().key;
    std::vector<LargeFileItem> files;
    for (const auto& member : members) files.push_back(candidates[member.index]);
    DuplicateGroup group;
    group.id = std::to_string(key.size) + "-" + key.head + (key.tail.empty() ? "" : "-" + key.tail);
    group.size = key.size;
    group.files = DuplicateGroup::ranked(std::move(files));
    group.name = DuplicateGroup::displayName(group.files);
    state.addWasted(group.wastedBytes());
    result.push_back(std::move(group));
  }
  std::sort(result.begin(), result.end(), [](const DuplicateGroup& a, const DuplicateGroup& b) {
    const auto wa = a.wastedBytes(), wb = b.wastedBytes();
    return wa != wb ? wa > wb : a.name < b.name;
  });
  return result;
}

DuplicateScanResult DuplicateFileScanner::scan(const std::filesystem::path& root,
                                               const DuplicateProgressCallback& progress,
                                               const ShouldStopCallback& shouldStop) const {
  const LargeFileScanner finder{.home = home.lexically_normal(),
                                .minimumBytes = minimumBytes,
                                .threads = std::max(threads, 1),
                                .listsPackages = false,
                                .skipsPrivacyProtected = skipsPrivacyProtected};
  const auto found = finder.scan(
      root,
      [&](const LargeFileScanProgress& step) {
        if (progress) progress({DuplicateScanPhase::searching, step.currentPath, 0, 0, 0});
      },
      shouldStop);
  if (!found.completed) return {{}, false};
  auto groups = DuplicateFileScanner::groups(found.items, threads, progress, shouldStop);
  if (!groups) return {{}, false};
  return {std::move(*groups), true};
}

}  // namespace tidyloom
