// The daemon's service: scan rows out as JSON, reviewed paths in, each re-checked before deletion.
#include "helper/helper_service.h"

#include <cstdlib>
#include <system_error>

#include "core/control_characters.h"
#include "core/engine_error.h"
#include "l10n/l10n.h"
#include "removal/protection_layer.h"
#include "removal/remover.h"

namespace tidyloom {
namespace {

// Switches the process's message language for the request; `system` keeps the daemon's own.
void switchLanguage(std::string_view raw) {
  const AppLanguage requested = appLanguageFromRaw(raw).value_or(AppLanguage::english);
  if (requested == AppLanguage::system) return;
  if (requested != L10n::currentLanguage()) L10n::setLanguage(requested);
}

}  // namespace

PrivilegedHelperService::PrivilegedHelperService(ScanRoots roots, PrivilegedHelperActivityRef activity)
    : PrivilegedHelperService(roots, systemCleanScanSource(roots, kMaxAgeDays), std::move(activity)) {}

PrivilegedHelperService::PrivilegedHelperService(ScanRoots roots, std::shared_ptr<const PrivilegedScanSource> scanner,
                                                 PrivilegedHelperActivityRef activity)
    : roots_(std::move(roots)), scanner_(std::move(scanner)), activity_(std::move(activity)) {}

HelperReply PrivilegedHelperService::scanSystem(bool includesRebuildableCaches) const {
  const ActivityScope counted(activity_.get());
  std::vector<HelperCandidate> rows;
  for (auto& candidate : scanner_->scanPrivileged(includesRebuildableCaches)) {
    rows.push_back({std::move(candidate.path), std::move(candidate.section), candidate.byteSize});
  }
  try {
    return {encodeCandidates(rows), std::nullopt};
  } catch (const std::exception&) {
    return {};
  }
}

HelperReply PrivilegedHelperService::removeSystemPaths(const std::vector<std::string>& paths, std::string_view language,
                                                       const StopCheck& stop) const {
  const ActivityScope counted(activity_.get());
  const std::lock_guard serial(removalLock_);
  switchLanguage(language);
  const RunReport report = remove(paths, stop);
  HelperRemoval removal{report.removed, {}, report.freedBytes};
  for (const auto& failure : report.failed) removal.failed.push_back({failure.path, failure.reason});
  try {
    return {encodeRemoval(removal), std::nullopt};
  } catch (const std::exception&) {
    return {};
  }
}

HelperReply PrivilegedHelperService::handle(const HelperRequest& request, const StopCheck& stop) const {
  if (const auto* scan = std::get_if<ScanSystemRequest>(&request)) return scanSystem(scan->includesRebuildableCaches);
  const auto& remove = std::get<RemoveSystemPathsRequest>(request);
  return removeSystemPaths(remove.paths, remove.language, stop);
}

RunReport PrivilegedHelperService::remove(const std::vector<std::string>& paths, const StopCheck& stop) const {
  RunReport report;
  // The remover resolves each path once and measures and deletes permanently through that handle,
  // never following a link swapped in after the checks; the daemon never uses the Trash.
  Remover remover;
  const auto recheck = [this](const std::string& path) { scanner_->assertPrivilegedRemovableNow(path); };
  // Root deletes only inside the sections it serves: the path the held folder names must pass too.
  remover.resolvedCheck = recheck;
  bool stopped = false;
  for (const auto& path : paths) {
    // Every requested path ends in the reply, removed or failed: the client must never have to guess.
    if (stopped || (stop && stop())) {
      stopped = true;
      report.failed.push_back({path, L10n::translate(kNotStartedReason)});
      continue;
    }
    try {
      if (containsControlCharacter(path)) {
        throw EngineError::protection(L10n::translate("路径包含控制字符：%@", {path}));
      }
      remover.protection.assertRemovable(path, roots_, RemovalScope::userData);
      recheck(path);
      const RunReport one =
          remover.remove({path}, RemovalMode::permanent, roots_, RemovalScope::userData, false, recheck);
      report.failed.insert(report.failed.end(), one.failed.begin(), one.failed.end());
      // A path gone before it could be removed is reported removed, having freed nothing.
      if (one.failed.empty()) report.removed.push_back(path);
      if (__builtin_add_overflow(report.freedBytes, one.freedBytes, &report.freedBytes)) std::abort();
    } catch (const EngineError& error) {
      if (error.isCancelled()) {
        stopped = true;
        report.failed.push_back({path, L10n::translate(kNotStartedReason)});
        continue;
      }
      report.failed.push_back({path, error.message()});
    }
  }
  return report;
}

}  // namespace tidyloom
