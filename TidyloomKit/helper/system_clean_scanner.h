// SystemCleanScanner: old, safe-to-delete files in system-wide caches and logs, and the re-check
// that a path is still one it would offer, just before it is removed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/records.h"
#include "core/scan_progress.h"
#include "core/scan_roots.h"
#include "helper/system_scan_names.h"

namespace tidyloom {

// What one scan found, with the folders it could not list (a scan without root rights sees part
// of the system) and whether it was stopped early.
struct SystemScanReport {
  std::vector<CleanupCandidate> candidates;
  // For each candidate, the part of the system it was found in: "systemCacheFiles",
  // "privateVarLogs", "namedCaches", "systemLogs", "privateDatabase", "gpuCaches", "timeMachine".
  std::vector<std::string> candidateAreas;
  std::vector<std::string> unreadableFolders;
  bool interrupted = false;
};

struct SystemScanRequest {
  bool includesRebuildableCaches = false;
  bool privileged = true;              // the five system sections
  bool userDomain = true;              // GPU caches and Time Machine local data
  ScanProgressCallback progress = {};  // from the scanning thread, at most every 80 ms
  CancellationToken stop = {};
  ScanTallyRef tally = {};
};

class SystemCleanScanner {
 public:
  ScanRoots roots;
  std::int64_t maxAgeDays = 7;
  SystemScanNames names = SystemScanNames::forHost();

  SystemCleanScanner(ScanRoots scanRoots, std::int64_t maxAge = 7,
                     SystemScanNames scanNames = SystemScanNames::forHost())
      : roots(std::move(scanRoots)), maxAgeDays(maxAge), names(std::move(scanNames)) {}

  // The five system sections; every row has section "systemCaches" and is removable. A section
  // whose root is a symbolic link yields nothing; links are never offered; files must be older
  // than the section's age limit and measure at least one byte.
  std::vector<CleanupCandidate> scanSystemCacheFiles() const;
  std::vector<CleanupCandidate> scanPrivateVarLogs() const;
  std::vector<CleanupCandidate> scanNamedCaches() const;
  std::vector<CleanupCandidate> scanSystemLogs() const;
  std::vector<CleanupCandidate> scanPrivateDatabase() const;

  // The privileged side (the daemon's), the user's side, and both; the named caches only with
  // `includesRebuildableCaches`.
  std::vector<CleanupCandidate> scanPrivileged(bool includesRebuildableCaches) const;
  std::vector<CleanupCandidate> scanUserDomain(bool includesRebuildableCaches) const;
  std::vector<CleanupCandidate> scan(bool includesRebuildableCaches) const;
  // The same walk with progress, cancellation and the folders that could not be read.
  SystemScanReport scan(const SystemScanRequest& request) const;

  // Throws EngineError::protection unless `path` lies in a privileged section and still matches
  // that section's rule (type, depth, age, size, no link on the way).
  void assertPrivilegedRemovableNow(const std::string& path) const;
  // The same re-check over every section of this scanner, the user-domain ones included.
  void assertRemovableNow(const std::string& path) const;
};

}  // namespace tidyloom
