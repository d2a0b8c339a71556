// What a clean preview returns: removable candidates, review rows, candidates held by running
// applications; and the scan surfaces a preview is asked for.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/records.h"
#include "l10n/app_language.h"

namespace tidyloom {

enum class CleanSurface { developer, dependencies, simulators, projectCaches, logs, general };

// A tool cache that is cleaned through the tool's own command rather than by deleting files.
struct OwnerCachePlan {
  std::string task;
  std::vector<std::string> paths;
  std::uint64_t byteSize = 0;
  bool operator==(const OwnerCachePlan&) const = default;
};

// A row shown for review; removed only when the user ticks it (and only if it may be ticked).
struct ReviewItem {
  std::string path;
  std::string title;
  std::string section;
  std::uint64_t byteSize = 0;
  std::string detail;
  bool explicitSelectionAllowed = false;
  bool marksIncompleteScan = false;
  bool operator==(const ReviewItem&) const = default;
};

// Shown, but not removable until the applications that use it quit.
struct AppHeldCandidate {
  CleanupCandidate candidate;
  std::vector<std::string> appNames;
  std::vector<std::string> bundleIdentifiers;
  bool operator==(const AppHeldCandidate&) const = default;
};

struct PreviewReport {
  TidyloomFeature feature = TidyloomFeature::clean;
  std::vector<CleanupCandidate> candidates;
  std::vector<OwnerCachePlan> ownerCaches;
  bool interrupted = false;
  std::vector<ReviewItem> reviewItems;
  std::vector<AppHeldCandidate> appHeld;
  bool operator==(const PreviewReport&) const = default;
};

}  // namespace tidyloom
