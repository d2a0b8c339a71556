// The system clean scanner seen through the daemon's scan-source seam.
#include "core/engine_error.h"
#include "helper/helper_service.h"
#include "l10n/l10n.h"

namespace tidyloom {
namespace {

// Stands in until the system clean scanner is wired in: offers nothing and refuses every path.
class NoSystemScan : public PrivilegedScanSource {
 public:
  std::vector<CleanupCandidate> scanPrivileged(bool) const override { return {}; }
  void assertPrivilegedRemovableNow(const std::string& path) const override {
    throw EngineError::protection(L10n::translate("路径不属于系统清理目标：%@", {path}));
  }
};

}  // namespace

std::shared_ptr<const PrivilegedScanSource> systemCleanScanSource(const ScanRoots&, int) {
  return std::make_shared<NoSystemScan>();
}

}  // namespace tidyloom
