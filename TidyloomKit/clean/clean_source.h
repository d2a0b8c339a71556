// The interface every specialised source of the clean engine implements: what it offers in a
// preview, which paths it answers for in a run, and how it re-checks them just before removal.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "clean/clean_records.h"
#include "core/records.h"
#include "core/scan_progress.h"
#include "core/scan_roots.h"

namespace tidyloom {

// What a source gets for one scan.
struct SourceScanContext {
  const ScanRoots& roots;
  CancellationToken stop;
  ScanTallyRef tally;                         // credited with every entry a walk visits
  const std::vector<std::string>& whitelist;  // effective whitelist patterns, for sources that prune
};

// What a scan found: ready candidates (with their own sections and sizes), or bare paths that the
// engine measures and files under "devCaches".
struct SourceFindings {
  std::vector<CleanupCandidate> candidates;
  std::vector<std::string> paths;
  // Parts that could not be scanned (unreadable, a helper that did not answer), shown as rows that
  // mark the preview incomplete and can never be ticked.
  std::vector<ReviewItem> incomplete;
};

class CleanSource {
 public:
  virtual ~CleanSource() = default;

  // Progress label of the source's preview phase (a Chinese text or a folder name).
  virtual std::string_view phaseLabel() const = 0;
  // The surface that must be requested for the phase to run.
  virtual CleanSurface surfaceGate() const { return CleanSurface::general; }

  virtual SourceFindings scan(const SourceScanContext& context) const = 0;
  // Rows shown for review and removed only when ticked; empty for candidate sources.
  virtual std::vector<ReviewItem> reviewItems(const SourceScanContext& /*context*/) const { return {}; }

  // True when the run should hand `path` (canonical) to this source.
  virtual bool manages(const std::string& path) const = 0;
  // Throws EngineError whose message ends in "请重新扫描" when `path` is no longer one this
  // source would offer. Called immediately before removal.
  virtual void assertRemovableNow(const std::string& path) const = 0;
  // A reason to keep `path` now even though it would be offered (a guard), or nothing.
  virtual std::optional<std::string> blockReason(const std::string& /*path*/,
                                                 const std::filesystem::path& /*home*/) const {
    return std::nullopt;
  }
};

}  // namespace tidyloom
