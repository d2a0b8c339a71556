// CleanCatalog: the process-wide rule configuration, loaded once; SmartCleanCatalog: the one-click subset.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "clean/preview_types.h"
#include "clean/scan_rule_config.h"

namespace tidyloom {

class CleanCatalog {
 public:
  // Loaded from the default rule file on first use, under one-time initialisation. Any failure
  // (no file, unreadable, invalid) gives the empty configuration, silently: the main scan then
  // offers nothing from rules.
  static const ScanRuleConfig& config();
  static const std::vector<SectionRule>& rules() { return config().cleanRules; }
  // "userCaches", "userLogs", "devCaches", "appCaches", "brewCaches", "crashReporter", "trash".
  static const std::set<std::string>& knownSectionIDs();
};

class SmartCleanCatalog {
 public:
  // The smart clean scans only the `logs` and `general` surfaces.
  static const std::set<CleanSurface>& surfaces();
  static const std::set<std::string>& allowedSections();
  // "/" + each lower-cased game path marker of the catalogue's configuration.
  static const std::vector<std::string>& gameMarkers();
  static std::vector<std::string> gameMarkers(const std::vector<std::string>& gamePathMarkers);

  // Keeps the candidates and held candidates of an allowed section outside every game launcher's
  // folders; drops owner caches and review items.
  static PreviewReport filter(const PreviewReport& report);
  static PreviewReport filter(const PreviewReport& report, const std::vector<std::string>& gameMarkers);
};

}  // namespace tidyloom
