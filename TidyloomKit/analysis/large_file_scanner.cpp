// The large-file walk: worker threads share one stack of folders under a condition variable, and
// each lists a folder, keeps the files that reach the minimum and pushes the folders to enter.
#include "analysis/large_file_scanner.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "analysis/directory_entries.h"
#include "analysis/large_file_rules.h"

namespace tidyloom {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
constexpr auto kReportInterval = std::chrono::milliseconds(80);

std::string resolved(const fs::path& path) {
  std::error_code error;
  fs::path result = fs::canonical(path, error);
  if (error) result = fs::absolute(path, error).lexically_normal();
  std::string text = result.string();
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return text;
}

std::string childPath(const std::string& parent, const std::string& name) {
  return parent == "/" ? "/" + name : parent + "/" + name;
}

struct LargeFileWalk {
  std::mutex mutex{};
  std::condition_variable condition{};
  LargeFileRules rules{};
  std::uint64_t minimumBytes = 0;
  bool listsPackages = false;
  std::optional<std::uint64_t> device;  // the walk stays on the root's volume
  const LargeFileProgressCallback& progress;
  const ShouldStopCallback& shouldStop;
  ScanTallyRef tally{};

  std::vector<std::string> pending{};
  int active = 0;
  std::vector<LargeFileItem> found{};
  std::uint64_t foundBytes = 0;
  bool stopped = false;
  std::optional<Clock::time_point> lastReport{};

  // Pops the next folder (depth first); nullopt when the walk is over or stopped.
  std::optional<std::string> next() {
    std::unique_lock lock(mutex);
    for (;;) {
      if (stopped) pending.clear();
      if (!pending.empty()) {
        std::string path = std::move(pending.back());
        pending.pop_back();
        ++active;
        return path;
      }
      if (active == 0 || stopped) {
        condition.notify_all();
        return std::nullopt;
      }
      condition.wait(lock);
    }
  }

  void finish(std::vector<LargeFileItem> hits, std::vector<std::string> folders, const std::string& path) {
    std::unique_lock lock(mutex);
    for (auto& hit : hits) {
      foundBytes += hit.size;
      found.push_back(std::move(hit));
    }
    for (auto& folder : folders) pending.push_back(std::move(folder));
    --active;
    condition.notify_all();
    const auto now = Clock::now();
    if (lastReport && now - *lastReport < kReportInterval) return;
    lastReport = now;
    const LargeFileScanProgress report{path, foundBytes, static_cast<std::int64_t>(found.size())};
    lock.unlock();
    // Asked outside the lock: the callbacks belong to the caller and may take their time.
    const bool stop = shouldStop && shouldStop();
    if (stop) {
      lock.lock();
      stopped = true;
      condition.notify_all();
      lock.unlock();
    }
    if (progress) progress(report);
  }

  // Every byte inside a package, by the same counted-size rule; links are not followed.
  std::uint64_t measurePackage(const std::string& root, std::uint64_t& files) const {
    std::uint64_t total = 0;
    std::vector<std::string> folders{root};
    while (!folders.empty()) {
      const std::string folder = std::move(folders.back());
      folders.pop_back();
      for (const auto& entry : readDirectoryEntries(folder)) {
        if (entry.type == EntryType::regular) {
          total += entry.countedSize();
          ++files;
        } else if (entry.type == EntryType::directory && (!device || entry.device == *device)) {
          folders.push_back(childPath(folder, entry.name));
        }
      }
    }
    return total;
  }

  void process(const std::string& path) {
    std::vector<LargeFileItem> hits;
    std::vector<std::string> folders;
    std::uint64_t files = 0;
    for (const auto& entry : readDirectoryEntries(path)) {
      if (entry.type == EntryType::regular) {
        ++files;
        const std::uint64_t size = entry.countedSize();
        if (size < minimumBytes) continue;
        std::string child = childPath(path, entry.name);
        const LargeFileKind kind = LargeFileScanner::kind(entry.name);
        hits.push_back({std::move(child), size, lastUsedDate(entry.accessed, entry.modified), false, kind,
                        entry.logicalSize.value_or(0)});
      } else if (entry.type == EntryType::directory) {
        if (device && entry.device != *device) continue;  // a mount point: another volume
        switch (rules.rule(entry.name, path)) {
          case LargeFileDirectoryRule::walk:
            folders.push_back(childPath(path, entry.name));
            break;
          case LargeFileDirectoryRule::package: {
            if (!listsPackages) break;
            std::string child = childPath(path, entry.name);
            const std::uint64_t size = measurePackage(child, files);
            if (size < minimumBytes) break;
            hits.push_back({std::move(child), size, lastUsedDate(entry.accessed, entry.modified), true,
                            LargeFileScanner::kind(entry.name), size});
            break;
          }
          case LargeFileDirectoryRule::skip:
            break;
        }
      }
    }
    if (tally && files > 0) tally->add(files);
    finish(std::move(hits), std::move(folders), path);
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
  const std::string rootPath = resolved(root);
  LargeFileWalk walk{.rules = {resolved(home), rootPath, skipsPrivacyProtected},
                     .minimumBytes = minimumBytes,
                     .listsPackages = listsPackages,
                     .device = deviceOf(rootPath),
                     .progress = progress,
                     .shouldStop = shouldStop,
                     .tally = tally,
                     .pending = {rootPath}};
  {
    std::vector<std::jthread> workers;
    for (int i = 0; i < threads; ++i) {
      workers.emplace_back([&walk] {
        while (const auto path = walk.next()) walk.process(*path);
      });
    }
  }
  std::sort(walk.found.begin(), walk.found.end(), [](const LargeFileItem& a, const LargeFileItem& b) {
    return a.size != b.size ? a.size > b.size : a.path < b.path;
  });
  return {std::move(walk.found), !walk.stopped};
}

}  // namespace tidyloom
