// The large-file walk: worker threads share one stack of folders; each reads a folder in bulk,
// keeps the files that reach the minimum and pushes the folders to enter.
#include "analysis/large_file_scanner.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <vector>

#include "analysis/large_file_rules.h"
#include "core/checked_sum.h"
#include "core/parallel_walk.h"
#include "platform/bulk_reader.h"

namespace tidyloom {
namespace {

namespace fs = std::filesystem;

std::string resolved(const fs::path& path) {
  std::error_code error;
  fs::path result = fs::canonical(path, error);
  if (error) result = fs::absolute(path, error).lexically_normal();
  std::string text = result.string();
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return text;
}

std::string childPath(const std::string& parent, std::string_view name) {
  std::string path = parent == "/" ? std::string() : parent;
  path += '/';
  path += name;
  return path;
}

FileTime lastUsedOf(const platform::BulkEntry& entry) {
  using std::chrono::seconds;
  return lastUsedDate(FileTime{seconds{entry.accessSeconds}}, FileTime{seconds{entry.modificationSeconds}});
}

constexpr platform::BulkReadOptions kReadOptions{.times = true, .identity = false};

struct LargeFileWalk {
  explicit LargeFileWalk(ShouldStopCallback stop)
      : shouldStop(std::move(stop)), pending([this] { return isStopped(); }) {}

  LargeFileRules rules;
  std::uint64_t minimumBytes = 0;
  bool listsPackages = false;
  std::uint64_t device = 0;  // the walk stays on the root's volume
  LargeFileProgressCallback progress;
  ShouldStopCallback shouldStop;
  ScanTallyRef tally;

  // Guards found, foundBytes, stopped and lastReport.
  std::mutex lock;
  std::vector<LargeFileItem> found;
  std::uint64_t foundBytes = 0;
  bool stopped = false;
  std::int64_t lastReport = 0;
  SharedJobStack<std::string> pending;

  bool isStopped() {
    std::lock_guard guard(lock);
    return stopped;
  }

  void work() {
    while (auto path = pending.next()) {
      process(*path);
      pending.finished();
    }
  }

  // A folder opened during the walk that turned out to be another file system is left alone.
  bool onRootVolume(const platform::DirectoryReader& directory) const {
    return !directory.isMountRoot() && directory.device() == device;
  }

  struct PackageMeasure {
    std::uint64_t bytes = 0;
    std::uint64_t files = 0;
    FileTime lastUsed = kDistantPast;
  };

  // Every file inside a package by its counted size; the package was last used when its most
  // recently used file was.
  void measurePackage(const platform::DirectoryReader& parent, std::string_view name, PackageMeasure& measure) const {
    platform::DirectoryReader directory(parent, name);
    if (!directory.isOpen() || !onRootVolume(directory)) return;
    (void)directory.read(kReadOptions, [&](const platform::BulkEntry& entry) {
      if (entry.error != 0) return;
      if (entry.kind == platform::EntryKind::regular) {
        measure.bytes = checkedSum(measure.bytes, platform::countedBytes(entry));
        ++measure.files;
        measure.lastUsed = std::max(measure.lastUsed, lastUsedOf(entry));
      } else if (entry.kind == platform::EntryKind::directory && !entry.isMountPoint) {
        measurePackage(directory, entry.name, measure);
      }
    });
  }

  void process(const std::string& path) {
    std::vector<LargeFileItem> hits;
    std::vector<std::string> folders;
    std::uint64_t files = 0;
    platform::DirectoryReader directory(path);
    if (directory.isOpen() && (path == rules.volumeRoot || onRootVolume(directory))) {
      (void)directory.read(kReadOptions, [&](const platform::BulkEntry& entry) {
        if (entry.error != 0) return;
        if (entry.kind == platform::EntryKind::regular) {
          ++files;
          const std::uint64_t size = platform::countedBytes(entry);
          if (size < minimumBytes) return;
          hits.push_back({childPath(path, entry.name), size, lastUsedOf(entry), false,
                          LargeFileScanner::kind(entry.name), entry.logicalBytes});
        } else if (entry.kind == platform::EntryKind::directory && !entry.isMountPoint) {
          switch (rules.rule(entry.name, path)) {
            case LargeFileDirectoryRule::walk:
              folders.push_back(childPath(path, entry.name));
              break;
            case LargeFileDirectoryRule::package: {
              if (!listsPackages) break;
              PackageMeasure measure;
              measurePackage(directory, entry.name, measure);
              files += measure.files;
              if (measure.bytes < minimumBytes) break;
              hits.push_back({childPath(path, entry.name), measure.bytes, measure.lastUsed, true,
                              LargeFileScanner::kind(entry.name), measure.bytes});
              break;
            }
            case LargeFileDirectoryRule::skip:
              break;
          }
        }
      });
    }
    if (tally && files > 0) tally->add(files);
    pending.update([&](std::vector<std::string>& stack) {
      for (auto& folder : folders) stack.push_back(std::move(folder));
    });
    record(std::move(hits), path);
  }

  // Adds the folder's hits; at most every 80 ms polls for a stop and reports progress.
  void record(std::vector<LargeFileItem> hits, const std::string& path) {
    LargeFileScanProgress snapshot;
    {
      std::lock_guard guard(lock);
      for (auto& hit : hits) {
        foundBytes = checkedSum(foundBytes, hit.size);
        found.push_back(std::move(hit));
      }
      const auto now = monotonicNanoseconds();
      if (now - lastReport < kWalkReportIntervalNanoseconds) return;
      lastReport = now;
      snapshot = {path, foundBytes, static_cast<std::int64_t>(found.size())};
    }
    // Asked outside the lock: the callbacks are the caller's and may take their time.
    if (shouldStop && shouldStop()) {
      std::lock_guard guard(lock);
      stopped = true;
    }
    if (progress) progress(snapshot);
  }
};

}  // namespace

fs::path LargeFileScanner::scanRoot(const fs::path& volume, const fs::path& home) {
  const fs::path standard = volume.lexically_normal();
  if (standard == "/") return home.lexically_normal();
  return standard;
}

LargeFileScanResult LargeFileScanner::scan(const fs::path& root, const LargeFileProgressCallback& progress,
                                           const ShouldStopCallback& shouldStop) const {
  // A negative worker count is a programming error, not something to recover from.
  if (threads < 0) std::abort();
  const std::string rootPath = resolved(root);
  auto walk = std::make_shared<LargeFileWalk>(shouldStop);
  walk->rules = {resolved(home), rootPath, skipsPrivacyProtected};
  walk->minimumBytes = minimumBytes;
  walk->listsPackages = listsPackages;
  walk->device = platform::DirectoryReader(rootPath).device();
  walk->progress = progress;
  walk->tally = tally;
  walk->pending.push(rootPath);
  if (threads > 0) runDetachedWorkers(threads, [walk] { walk->work(); });

  std::sort(walk->found.begin(), walk->found.end(), [](const LargeFileItem& a, const LargeFileItem& b) {
    return a.size != b.size ? a.size > b.size : a.path < b.path;
  });
  return {std::move(walk->found), !walk->isStopped()};
}

}  // namespace tidyloom
