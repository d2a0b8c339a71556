// The system clean scanner seen through the daemon's scan-source seam.
#include "helper/helper_service.h"
#include "helper/system_clean_scanner.h"

namespace tidyloom {
namespace {

class SystemScanSource : public PrivilegedScanSource {
 public:
  explicit SystemScanSource(SystemCleanScanner scanner) : scanner_(std::move(scanner)) {}
  std::vector<CleanupCandidate> scanPrivileged(bool includesRebuildableCaches) const override {
    return scanner_.scanPrivileged(includesRebuildableCaches);
  }
  void assertPrivilegedRemovableNow(const std::string& path) const override {
    scanner_.assertPrivilegedRemovableNow(path);
  }

 private:
  SystemCleanScanner scanner_;
};

}  // namespace

std::shared_ptr<const PrivilegedScanSource> systemCleanScanSource(const ScanRoots& roots, int maxAgeDays) {
  return std::make_shared<SystemScanSource>(SystemCleanScanner(roots, maxAgeDays));
}

std::shared_ptr<const PrivilegedScanSource> systemCleanScanSource(const ScanRoots& roots, int maxAgeDays,
                                                                  SystemScanNames names) {
  return std::make_shared<SystemScanSource>(SystemCleanScanner(roots, maxAgeDays, std::move(names)));
}

}  // namespace tidyloom
