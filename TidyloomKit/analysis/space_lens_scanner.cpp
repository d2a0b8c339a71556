// The space-lens walk: workers share one stack of directories; each directory is read in bulk,
// its bytes credited to its own node (down to `depth`) or to its deepest indexed ancestor.
#include "analysis/space_lens_scanner.h"

#include <cstdlib>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

#include "core/checked_sum.h"
#include "core/parallel_walk.h"
#include "core/scan_roots.h"
#include "platform/bulk_reader.h"

namespace tidyloom {
namespace {

// Running totals and the pace of reports; one per scan, shared by the workers.
struct SpaceLensScanContext {
  std::mutex lock;
  std::set<std::uint64_t> devices;
  SpaceLensScanner::ProgressCallback progress;
  SpaceLensScanner::StopCallback shouldStop;
  std::uint64_t bytes = 0;
  std::int64_t items = 0;
  std::int64_t lastReport = 0;
  bool stopped = false;

  bool isStopped() {
    std::lock_guard guard(lock);
    return stopped;
  }
};

struct SpaceLensWalk {
  struct Job {
    std::string path;
    int level = 0;
    std::int64_t anchor = 0;
  };
  struct Node {
    std::string path;
    std::int64_t parent = -1;
    std::uint64_t bytes = 0;
    std::int64_t items = 0;
  };

  explicit SpaceLensWalk(std::shared_ptr<SpaceLensScanContext> scanContext)
      : context(std::move(scanContext)), pending([ctx = context.get()] { return ctx->isStopped(); }) {}

  int depth = 0;
  bool skipsProtected = false;
  std::string home;
  std::shared_ptr<SpaceLensScanContext> context;
  ScanTallyRef tally;
  // The stack's lock also guards `nodes`.
  SharedJobStack<Job> pending;
  std::vector<Node> nodes;

  void work() {
    while (auto job = pending.next()) {
      process(*job);
      pending.finished();
    }
  }

  void process(const Job& job) {
    std::uint64_t bytes = 0;
    std::int64_t entries = 0;
    std::uint64_t files = 0;
    std::vector<std::string> children;

    platform::DirectoryReader directory(job.path);
    // Linux reports a directory's device and mount status only once it is open: a child that
    // turns out to be another file system is left unwalked, like a mount point on macOS.
    const bool walkable =
        directory.isOpen() &&
        (job.level == 0 ||
         (!directory.isMountRoot() && (context->devices.empty() || context->devices.contains(directory.device()))));
    if (walkable) {
      (void)directory.read({}, [&](const platform::BulkEntry& entry) {
        ++entries;
        if (entry.error != 0) return;
        if (entry.kind == platform::EntryKind::regular) {
          bytes = checkedSum(bytes, platform::countedBytes(entry));
          ++files;
        } else if (entry.kind == platform::EntryKind::directory) {
          if (entry.isMountPoint || SpaceLens::isSkipped(job.path, entry.name)) return;
          if (SpaceLens::isCloudOrMedia(job.path, entry.name)) return;
          if (skipsProtected && SpaceLens::isProtected(job.path, entry.name, home)) return;
          if (entry.hasDevice && !context->devices.empty() && !context->devices.contains(entry.device)) return;
          children.push_back(SpaceLens::childPath(job.path, entry.name));
        }
      });
    }
    if (tally && files > 0) tally->add(files);
    report(job.path, bytes, entries);

    pending.update([&](std::vector<Job>& stack) {
      Node& own = nodes[static_cast<size_t>(job.anchor)];
      own.bytes = checkedSum(own.bytes, bytes);
      if (job.level <= depth) own.items = entries;
      const int childLevel = job.level + 1;
      for (auto& child : children) {
        std::int64_t anchor = job.anchor;
        if (childLevel <= depth) {
          anchor = static_cast<std::int64_t>(nodes.size());
          nodes.push_back({child, job.anchor, 0, 0});
        }
        stack.push_back({std::move(child), childLevel, anchor});
      }
    });
  }

  // Adds to the running totals; at most every 80 ms polls for a stop and reports progress.
  void report(const std::string& path, std::uint64_t bytes, std::int64_t entries) {
    SpaceLensProgress snapshot;
    {
      std::lock_guard guard(context->lock);
      context->bytes = checkedSum(context->bytes, bytes);
      context->items += entries;
      const auto now = monotonicNanoseconds();
      if (now - context->lastReport < kWalkReportIntervalNanoseconds) return;
      context->lastReport = now;
      snapshot = {path, context->bytes, context->items};
    }
    if (context->shouldStop && context->shouldStop()) {
      std::lock_guard guard(context->lock);
      context->stopped = true;
    }
    if (context->progress) context->progress(snapshot);
  }
};

// Rolls every node's bytes up into its ancestors; children always follow their parents.
std::unordered_map<std::string, SpaceLensIndex::DirectoryStat> directoryStatistics(
    const std::vector<SpaceLensWalk::Node>& nodes) {
  std::vector<std::uint64_t> rolled(nodes.size());
  for (size_t i = 0; i < nodes.size(); ++i) rolled[i] = nodes[i].bytes;
  for (size_t i = nodes.size(); i-- > 1;) {
    const auto parent = static_cast<size_t>(nodes[i].parent);
    rolled[parent] = checkedSum(rolled[parent], rolled[i]);
  }
  std::unordered_map<std::string, SpaceLensIndex::DirectoryStat> stats;
  stats.reserve(nodes.size());
  for (size_t i = 0; i < nodes.size(); ++i) stats[nodes[i].path] = {rolled[i], nodes[i].items};
  return stats;
}

}  // namespace

std::string standardisedPath(const std::filesystem::path& path) {
  std::string text = std::filesystem::absolute(path).lexically_normal().string();
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return text;
}

SpaceLensIndex SpaceLensScanner::scan(const std::filesystem::path& root, const ProgressCallback& progress,
                                      const StopCallback& shouldStop) const {
  // A negative worker count is a programming error, not something to recover from.
  if (threads < 0) std::abort();
  const std::string rootPath = standardisedPath(root);

  auto context = std::make_shared<SpaceLensScanContext>();
  context->devices = SpaceLens::devices(rootPath);
  context->progress = progress;
  context->shouldStop = shouldStop;

  auto walk = std::make_shared<SpaceLensWalk>(context);
  walk->depth = depth;
  walk->skipsProtected = skipsProtected;
  walk->home = home.empty() ? RealHome::path() : home;
  walk->tally = tally;
  walk->nodes.push_back({rootPath, -1, 0, 0});
  walk->pending.push({rootPath, 0, 0});

  if (threads > 0) runDetachedWorkers(threads, [walk] { walk->work(); });

  SpaceLensIndex index;
  index.rootPath = rootPath;
  index.depth = depth;
  index.skipsProtected = skipsProtected;
  index.home = walk->home;
  if (threads > 0) index.directories = directoryStatistics(walk->nodes);
  if (const auto found = index.directories.find(rootPath); found != index.directories.end()) {
    index.totalSize = found->second.bytes;
  }
  index.completed = !context->isStopped();
  return index;
}

}  // namespace tidyloom
