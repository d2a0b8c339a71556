// CleanEngine::run: whitelist refusal, assignment of each path to its source, re-validation just
// before removal, the removal routes, the tool-cache plans, and one merged report.
#include <algorithm>
#include <map>

#include "clean/browser_cache_scanner.h"
#include "clean/clean_engine.h"
#include "clean/rule_paths.h"
#include "clean/trash_contents.h"
#include "core/engine_error.h"
#include "helper/system_clean_helping.h"
#include "l10n/l10n.h"
#include "removal/protection_layer.h"
#include "removal/whitelist_policy.h"

namespace tidyloom {
namespace {

// The path with its folder's links resolved but its own last component kept: a kept path that is
// itself a link must stay that link, never become what it points at.
std::string canonicalLocation(const std::string& path) {
  const std::filesystem::path given = std::filesystem::path(path).lexically_normal();
  if (!given.has_parent_path() || given.parent_path() == given) return given.string();
  return (std::filesystem::path(ProtectionLayer::canonicalPath(given.parent_path())) / given.filename()).string();
}

void failEach(RunReport& report, const std::vector<std::string>& paths, const std::string& reason) {
  for (const auto& path : paths) report.failed.push_back({path, reason});
}

}  // namespace

const CleanSource* CleanEngine::sourceOf(const std::string& path) const {
  const auto manager =
      std::find_if(managers.begin(), managers.end(), [&](const auto& source) { return source->manages(path); });
  if (manager != managers.end()) return manager->get();
  return isSystemPath(path) ? system.get() : nullptr;
}

void CleanEngine::revalidate(const std::string& path, const GateSnapshot& snapshot,
                             const std::vector<std::string>& ruleSet) const {
  // An application's configuration folder gives up only its rebuildable caches, whoever offers it.
  if (browsers) {
    if (const auto refusal = browsers->selectiveContainerRefusal(path)) throw EngineError::protection(*refusal);
  }
  if (const auto* source = sourceOf(path)) {
    source->assertRemovableNow(path);
    if (const auto reason = source->blockReason(path, roots.home)) throw EngineError::protection(*reason);
  } else if (!std::binary_search(ruleSet.begin(), ruleSet.end(), path)) {
    // Nothing would offer this path now: an edited plan, or the disk changed since the preview.
    throw EngineError::protection(L10n::translate("该路径已不是可清理的候选项，请重新扫描"));
  }
  if (const auto gate = appGate(path, snapshot); gate.gate != Gate::clear) {
    if (const auto reason = productProcessActivity.blockReason(path, roots.home))
      throw EngineError::protection(*reason);
    if (const auto reason = userCacheOwnership.blockReason(path, roots.home)) throw EngineError::protection(*reason);
    throw EngineError::protection(L10n::translate("无法确认使用该缓存的应用是否正在运行，请重新扫描"));
  }
  if (const auto reason = activity.blockReason(path, roots.home, snapshot.developers)) {
    throw EngineError::protection(*reason);
  }
  const auto open = snapshot.openFiles.check(path);
  if (open.state == platform::OpenState::held) {
    std::string names;
    for (const auto& name : open.processNames) names += (names.empty() ? "" : ", ") + name;
    throw EngineError::protection(names.empty() ? L10n::translate("正被运行中的程序使用，未删除")
                                                : L10n::translate("正被运行中的程序使用（%@），未删除", {names}));
  }
  if (open.state == platform::OpenState::unknown) {
    throw EngineError::protection(L10n::translate("无法确认是否有程序正在使用，未删除"));
  }
}

RunReport CleanEngine::run(const std::vector<std::string>& paths, const std::vector<OwnerCachePlan>& ownerCaches,
                           const RemovalProgress& progress, const CancellationToken& stop) const {
  const auto patterns = whitelistPatterns();
  if (!ownerCaches.empty()) {
    const auto fresh = ownerCleaner.inventory();
    for (const auto& kept : ownerCaches) {
      const bool stillThere = std::any_of(fresh.begin(), fresh.end(), [&](const OwnerCachePlan& plan) {
        return plan.task == kept.task && plan.paths == kept.paths;
      });
      if (!stillThere) throw EngineError::io(L10n::translate("工具缓存无法使用原生命令清理，请重新扫描"));
    }
  }

  const CompiledWhitelist compiled(patterns);
  RunReport report;
  std::vector<std::string> userPaths;
  std::vector<std::string> systemPaths;
  std::vector<std::string> trashPaths;
  for (const auto& given : paths) {
    const std::string path = canonicalLocation(given);
    if (WhitelistPolicy::protects(path, compiled, true) || WhitelistPolicy::protectsContentOf(path, compiled)) {
      report.failed.push_back({given, L10n::translate("路径包含白名单内容，拒绝删除")});
      continue;
    }
    if (trashContents->manages(path)) {
      trashPaths.push_back(path);
    } else {
      (isSystemPath(path) ? systemPaths : userPaths).push_back(path);
    }
  }

  const auto snapshot = takeGateSnapshot();
  // What the rules would offer now, for the paths no source answers for.
  std::vector<std::string> ruleSet;
  for (auto& entry :
       rulePaths(withoutTrashRule(config.cleanRules), allSurfaces(), roots.home, patterns, stop, fixtureMode)) {
    ruleSet.push_back(std::move(entry.path));
  }
  std::sort(ruleSet.begin(), ruleSet.end());

  Remover userRemover = remover;
  userRemover.progress = progress;
  userRemover.cancellation = stop;
  report.merge(userRemover.remove(userPaths, mode, roots, RemovalScope::userData, false,
                                  [&](const std::string& path) { revalidate(path, snapshot, ruleSet); }));
  // After a stop nothing more is started; what was handled is reported.
  const auto stopped = [&] {
    report.interrupted = report.interrupted || stop.stop_requested();
    return report.interrupted;
  };
  if (!trashPaths.empty() && !stopped()) report.merge(emptyTrash(trashPaths, snapshot, progress, stop));
  if (!systemPaths.empty() && !stopped()) report.merge(removeSystemPaths(systemPaths, snapshot, progress, stop));
  if (!ownerCaches.empty() && !stopped()) {
    std::vector<OwnerCachePlan> free;
    for (const auto& plan : ownerCaches) {
      const bool inUse = std::any_of(plan.paths.begin(), plan.paths.end(), [&](const std::string& path) {
        return snapshot.openFiles.check(path).state != platform::OpenState::closed;
      });
      if (!inUse) {
        free.push_back(plan);
        continue;
      }
      report.taskOutcomes[plan.task] = TaskOutcome::skipped;
      report.notes.push_back(L10n::translate("%@：缓存正被运行中的程序使用，已跳过", {plan.task}));
    }
    report.merge(ownerCleaner.run(free, patterns));
  }
  return report;
}

RunReport CleanEngine::emptyTrash(const std::vector<std::string>& paths, const GateSnapshot& snapshot,
                                  const RemovalProgress& progress, const CancellationToken& stop) const {
  // Items in a Trash are deleted for good, whatever the run's mode: moving them into a Trash again
  // would free nothing and lose their records.
  std::map<RemovalScope, std::vector<std::string>> byScope;
  for (const auto& path : paths) byScope[trashContents->scopeOf(path, roots.home)].push_back(path);
  Remover trashRemover = remover;
  trashRemover.progress = progress;
  trashRemover.cancellation = stop;
  const std::vector<std::string> none;
  RunReport report;
  for (const auto& [scope, group] : byScope) {
    if (report.interrupted) break;
    const auto done = trashRemover.remove(group, RemovalMode::permanent, roots, scope, false,
                                          [&](const std::string& path) { revalidate(path, snapshot, none); });
    // An item that left (deleted now, or gone already) takes its record with it.
    for (const auto& path : group) {
      const bool kept = std::any_of(done.failed.begin(), done.failed.end(),
                                    [&](const FailedPath& failure) { return failure.path == path; });
      if (!kept) trashContents->forget(path);
    }
    report.merge(done);
  }
  return report;
}

RunReport CleanEngine::removeSystemPaths(const std::vector<std::string>& paths, const GateSnapshot& snapshot,
                                         const RemovalProgress& progress, const CancellationToken& stop) const {
  RunReport report;
  const std::vector<std::string> none;
  const auto recheck = [&](const std::string& path) { revalidate(path, snapshot, none); };
  if (systemHelper) {
    // The daemon checks every path again itself before it deletes anything.
    try {
      return systemHelper->removeSystemPaths(paths, stop);
    } catch (const EngineError& e) {
      if (e.isCancelled()) throw;
      failEach(report, paths, e.message());
      return report;
    }
  }
  if (adminRemover) return adminRemover(paths, recheck);
  if (fixtureMode || runsAsRoot) {
    Remover systemRemover = remover;
    systemRemover.progress = progress;
    systemRemover.cancellation = stop;
    return systemRemover.remove(paths, RemovalMode::permanent, roots, RemovalScope::userData, false, recheck);
  }
  failEach(report, paths, L10n::translate("删除系统位置需要管理员权限，未删除"));
  return report;
}

}  // namespace tidyloom
