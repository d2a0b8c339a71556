// The catalogue's one-time loading and the smart clean's narrowing of a preview.
#include "clean/clean_catalog.h"

#include <algorithm>

#include "clean/clean_targets_store.h"
#include "clean/icu_regex.h"

namespace tidyloom {

const ScanRuleConfig& CleanCatalog::config() {
  // The error is dropped on purpose: a bad rule file makes the cleaner find less, never fail.
  static const ScanRuleConfig loaded = [] {
    try {
      return CleanTargetsStore{}.load();
    } catch (...) {
      return ScanRuleConfig{};
    }
  }();
  return loaded;
}

const std::set<std::string>& CleanCatalog::knownSectionIDs() {
  static const std::set<std::string> ids{"userCaches", "userLogs",      "devCaches", "appCaches",
                                         "brewCaches", "crashReporter", "trash"};
  return ids;
}

const std::set<CleanSurface>& SmartCleanCatalog::surfaces() {
  static const std::set<CleanSurface> set{CleanSurface::logs, CleanSurface::general};
  return set;
}

const std::set<std::string>& SmartCleanCatalog::allowedSections() {
  static const std::set<std::string> set{"userCaches",         "userLogs",       "brewCaches",    "appCaches",
                                         "systemCaches",       "appLeftovers",   "crashReporter", "mailDownloads",
                                         "browserOldVersions", "deviceFirmware", "recentItems",   "handoffPasteboard",
                                         "oldInstallers",      "trash"};
  return set;
}

std::vector<std::string> SmartCleanCatalog::gameMarkers(const std::vector<std::string>& gamePathMarkers) {
  std::vector<std::string> markers;
  markers.reserve(gamePathMarkers.size());
  for (const std::string& marker : gamePathMarkers) markers.push_back("/" + lowercased(marker));
  return markers;
}

const std::vector<std::string>& SmartCleanCatalog::gameMarkers() {
  static const std::vector<std::string> markers = gameMarkers(CleanCatalog::config().gamePathMarkers);
  return markers;
}

PreviewReport SmartCleanCatalog::filter(const PreviewReport& report) { return filter(report, gameMarkers()); }

PreviewReport SmartCleanCatalog::filter(const PreviewReport& report, const std::vector<std::string>& markers) {
  const auto passes = [&](const CleanupCandidate& candidate) {
    if (!allowedSections().contains(candidate.section)) return false;
    const std::string path = lowercased(candidate.path);
    return std::none_of(markers.begin(), markers.end(),
                        [&](const std::string& marker) { return path.find(marker) != std::string::npos; });
  };
  PreviewReport out;
  out.feature = TidyloomFeature::clean;
  out.interrupted = report.interrupted;
  std::copy_if(report.candidates.begin(), report.candidates.end(), std::back_inserter(out.candidates), passes);
  std::copy_if(report.appHeld.begin(), report.appHeld.end(), std::back_inserter(out.appHeld),
               [&](const AppHeldCandidate& held) { return passes(held.candidate); });
  return out;
}

}  // namespace tidyloom
