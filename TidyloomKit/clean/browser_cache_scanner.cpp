// Browser caches: cache folders by name, at the profile root or one profile below it; inside
// selective containers a little deeper, never the container itself.
#include "clean/browser_cache_scanner.h"

#include "clean/source_walk.h"
#include "core/engine_error.h"
#include "l10n/l10n.h"
#include "removal/file_measure.h"

namespace tidyloom {
namespace {

constexpr int kProfileDepth = 2;    // <root>/<leaf> or <root>/<profile>/<leaf>
constexpr int kContainerDepth = 3;  // e.g. <container>/Partitions/<name>/<leaf>

}  // namespace

void BrowserCacheScanner::collectLeaves(const std::filesystem::path& folder, int depth, int maxDepth,
                                        const SourceScanContext& context, SourceFindings& findings) const {
  for (const auto& name : childNames(folder)) {
    if (context.stop.stop_requested()) return;
    const auto path = folder / name;
    const auto facts = entryFacts(path);
    if (!facts || !facts->directory) continue;  // links report as links, never followed
    if (context.tally) context.tally->add();
    if (cacheLeafNames_.contains(name)) {
      const auto size = FileMeasure::byteSize(path, context.tally);
      if (size > 0) findings.candidates.push_back({path.string(), "userCaches", size, true});
    } else if (depth < maxDepth) {
      collectLeaves(path, depth + 1, maxDepth, context, findings);
    }
  }
}

SourceFindings BrowserCacheScanner::scan(const SourceScanContext& context) const {
  SourceFindings findings;
  for (const auto& root : profileRoots_) {
    const auto facts = entryFacts(home_ / root);
    if (facts && facts->directory) collectLeaves(home_ / root, 1, kProfileDepth, context, findings);
  }
  for (const auto& container : selectiveContainers_) {
    const auto facts = entryFacts(home_ / container);
    if (facts && facts->directory) collectLeaves(home_ / container, 1, kContainerDepth, context, findings);
  }
  return findings;
}

std::optional<std::pair<std::filesystem::path, int>> BrowserCacheScanner::placeOf(
    const std::filesystem::path& path) const {
  for (const auto& root : profileRoots_) {
    if (depthBelow(path, home_ / root)) return std::pair{home_ / root, kProfileDepth};
  }
  for (const auto& container : selectiveContainers_) {
    if (depthBelow(path, home_ / container)) return std::pair{home_ / container, kContainerDepth};
  }
  return std::nullopt;
}

bool BrowserCacheScanner::manages(const std::string& path) const {
  const auto place = placeOf(path);
  return place && cacheLeafNames_.contains(std::filesystem::path(path).filename().string()) &&
         depthBelow(path, place->first) <= place->second;
}

void BrowserCacheScanner::assertRemovableNow(const std::string& path) const {
  const auto place = placeOf(path);
  const auto facts = entryFacts(path);
  if (!manages(path) || !place || !facts || !facts->directory || !noLinkBetween(place->first, path)) {
    throw EngineError::protection(L10n::translate("浏览器缓存目录已变化，请重新扫描"));
  }
}

std::optional<std::string> BrowserCacheScanner::selectiveContainerRefusal(const std::string& path) const {
  for (const auto& container : selectiveContainers_) {
    const auto root = (home_ / container).lexically_normal();
    const auto relative = std::filesystem::path(path).lexically_normal().lexically_relative(root);
    // A folder above the container would take the whole container with it.
    if (depthBelow(root, path)) return L10n::translate("配置目录只能清理可重建缓存，拒绝删除整个目录：%@", {path});
    if (relative.empty() || *relative.begin() == "..") continue;
    bool insideCache = false;
    if (relative != ".") {
      for (const auto& part : relative) insideCache = insideCache || cacheLeafNames_.contains(part.string());
    }
    if (!insideCache) return L10n::translate("配置目录只能清理可重建缓存，拒绝删除整个目录：%@", {path});
  }
  return std::nullopt;
}

}  // namespace tidyloom
