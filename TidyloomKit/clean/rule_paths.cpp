// Enumeration of the section rules' paths.
#include "clean/rule_paths.h"

#include <set>

#include "clean/path_pattern.h"
#include "clean/source_walk.h"
#include "clean/surface_classification.h"
#include "removal/whitelist_policy.h"

namespace tidyloom {
namespace {

// Opening up stops here: deeper than this a rule path is dropped rather than split further.
constexpr int kMaxOpenDepth = 6;

bool meets(const SurfaceSet& a, const SurfaceSet& b) {
  for (const auto surface : a) {
    if (b.contains(surface)) return true;
  }
  return false;
}

class Collector {
 public:
  Collector(const SurfaceSet& surfaces, const std::vector<std::string>& whitelist, const CancellationToken& stop)
      : surfaces_(surfaces), whitelist_(whitelist), stop_(stop) {}

  void offer(const std::string& ruleId, const std::filesystem::path& path, int depth) {
    if (stop_.stop_requested()) return;
    const auto facts = entryFacts(path);
    if (!facts || facts->link) return;
    const std::string text = path.lexically_normal().string();
    if (WhitelistPolicy::protects(text, whitelist_, true)) return;
    const bool developer = ruleId == "devCaches";
    const bool split = facts->directory && (WhitelistPolicy::protectsContentOf(text, whitelist_, stop_) ||
                                            (developer && mayHoldDependencies(text)));
    if (split) {
      if (depth < kMaxOpenDepth) {
        for (const auto& name : childNames(path)) offer(ruleId, path / name, depth + 1);
      }
      return;
    }
    if (developer && !surfaces_.contains(developerSurface(text))) return;
    if (seen_.insert(text).second) paths_.push_back({text, ruleId});
  }

  std::vector<RulePath> take() { return std::move(paths_); }

 private:
  const SurfaceSet& surfaces_;
  const CompiledWhitelist whitelist_;
  const CancellationToken& stop_;
  std::set<std::string> seen_;
  std::vector<RulePath> paths_;
};

}  // namespace

std::vector<RulePath> rulePaths(const std::vector<SectionRule>& rules, const SurfaceSet& surfaces,
                                const std::filesystem::path& home, const std::vector<std::string>& whitelist,
                                const CancellationToken& stop, bool confinedToHome) {
  Collector collector(surfaces, whitelist, stop);
  const std::string homeText = home.lexically_normal().string();
  for (const auto& rule : rules) {
    if (!meets(surfacesOfRule(rule.id), surfaces)) continue;
    std::vector<std::filesystem::path> named;
    for (const auto& relative : rule.relativePaths) named.push_back(home / relative);
    for (const auto& pattern : rule.relativePathPatterns) {
      for (auto& match : expandRelativePathPattern(pattern, home)) named.push_back(std::move(match));
    }
    for (const auto& absolute : rule.absolutePaths) {
      const std::string text = std::filesystem::path(absolute).lexically_normal().string();
      if (confinedToHome && text != homeText && !text.starts_with(homeText + "/")) continue;
      named.emplace_back(absolute);
    }
    for (const auto& path : named) {
      if (stop.stop_requested()) return collector.take();
      const auto facts = entryFacts(path);
      if (!facts || facts->link) continue;
      if (rule.recursiveContents && facts->directory) {
        for (const auto& name : childNames(path)) collector.offer(rule.id, path / name, 1);
      } else {
        collector.offer(rule.id, path, 0);
      }
    }
  }
  return collector.take();
}

}  // namespace tidyloom
