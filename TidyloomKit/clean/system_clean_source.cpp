// System locations phase of the clean preview.
#include "clean/system_clean_source.h"

#include "clean/surface_classification.h"
#include "core/engine_error.h"
#include "helper/system_clean_helping.h"
#include "l10n/l10n.h"

namespace tidyloom {
namespace {

// A row that tells the user a part of the scan could not be done; it can never be ticked.
ReviewItem incompletePart(const std::string& path, const std::string& detail) {
  return ReviewItem{path, L10n::translate("未能完整扫描"), "systemCaches", 0, detail, false, true};
}

}  // namespace

SourceFindings SystemCleanSource::scan(const SourceScanContext& context) const {
  SourceFindings findings;
  SystemScanRequest request;
  request.includesRebuildableCaches = includesRebuildableCaches_;
  request.stop = context.stop;
  request.tally = context.tally;
  request.privileged = helper_ == nullptr;
  const auto local = scanner_.scan(request);
  findings.candidates = local.candidates;
  if (helper_) {
    try {
      for (auto& candidate : helper_->scanSystem(includesRebuildableCaches_))
        findings.candidates.push_back(std::move(candidate));
    } catch (const EngineError& e) {
      if (e.isCancelled()) throw;
      findings.incomplete.push_back(incompletePart(scanner_.roots.systemLibraryCaches.string(), e.message()));
    }
  } else if (!runsAsRoot_) {
    for (const auto& folder : local.unreadableFolders) {
      findings.incomplete.push_back(incompletePart(folder, L10n::translate("需要管理员权限才能读取此位置")));
    }
  }
  return findings;
}

bool SystemCleanSource::manages(const std::string& path) const {
  if (isSystemPath(path, scanner_.roots)) return true;
  // User-domain rows: the scanner answers for what it would still offer.
  try {
    scanner_.assertRemovableNow(path);
    return true;
  } catch (const EngineError&) {
    return false;
  }
}

}  // namespace tidyloom
