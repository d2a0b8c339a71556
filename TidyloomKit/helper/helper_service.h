// PrivilegedHelperService: the daemon's two operations, each answering with JSON payload bytes.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "core/records.h"
#include "core/scan_roots.h"
#include "helper/helper_activity.h"
#include "helper/helper_protocol.h"
#include "helper/system_scan_names.h"

namespace tidyloom {

// The part of the system clean scanner the daemon serves: its privileged sections, in the order
// the daemon sends them, and the re-check of a path just before it is deleted.
class PrivilegedScanSource {
 public:
  virtual ~PrivilegedScanSource() = default;
  virtual std::vector<CleanupCandidate> scanPrivileged(bool includesRebuildableCaches) const = 0;
  // Throws EngineError::protection when `path` is no longer one the system scan would offer.
  virtual void assertPrivilegedRemovableNow(const std::string& path) const = 0;
};

// The system clean scanner over `roots` with the given age limit.
std::shared_ptr<const PrivilegedScanSource> systemCleanScanSource(const ScanRoots& roots, int maxAgeDays);
// The same with other name lists (fixture trees are shaped like macOS whatever the host).
std::shared_ptr<const PrivilegedScanSource> systemCleanScanSource(const ScanRoots& roots, int maxAgeDays,
                                                                  SystemScanNames names);

class PrivilegedHelperService {
 public:
  static constexpr int kMaxAgeDays = 7;

  PrivilegedHelperService(ScanRoots roots, PrivilegedHelperActivityRef activity);
  PrivilegedHelperService(ScanRoots roots, std::shared_ptr<const PrivilegedScanSource> scanner,
                          PrivilegedHelperActivityRef activity);

  // Asked between paths of a removal; true stops the run (the client has gone away).
  using StopCheck = std::function<bool()>;

  HelperReply scanSystem(bool includesRebuildableCaches) const;
  HelperReply removeSystemPaths(const std::vector<std::string>& paths, std::string_view language,
                                const StopCheck& stop = {}) const;
  HelperReply handle(const HelperRequest& request, const StopCheck& stop = {}) const;

  // The removal itself: control characters, protection layer, the scanner's re-check, measure,
  // permanent deletion (never the Trash). Each refused or failed path is one `failed` entry.
  RunReport remove(const std::vector<std::string>& paths, const StopCheck& stop = {}) const;

  const ScanRoots& roots() const { return roots_; }

 private:
  ScanRoots roots_;
  std::shared_ptr<const PrivilegedScanSource> scanner_;
  PrivilegedHelperActivityRef activity_;
  // The language switch is process-wide: removals run one at a time so each reply stays in its language.
  mutable std::mutex removalLock_;
};

}  // namespace tidyloom
