// ScanRuleConfig: the validated rule configuration that every clean scanner reads.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "clean/activity_gates.h"
#include "clean/age_gated_caches.h"

namespace tidyloom {

// One section of the main scan: where to look in the home folder and on the system.
// Invariant: at least one of the three path lists is non-empty.
struct SectionRule {
  std::string id;
  std::vector<std::string> relativePaths;         // literal, relative to the home folder
  std::vector<std::string> relativePathPatterns;  // components may hold "*"
  std::vector<std::string> absolutePaths;
  bool recursiveContents = false;
  bool operator==(const SectionRule&) const = default;
};

struct GamePlatformCatalog {
  // A game launcher's folder; it counts only when `requiredPath` (the file's "requires") exists.
  struct Target {
    std::string root;  // relative to the home, may hold "*"
    std::string title;
    std::optional<std::string> requiredPath;
    bool operator==(const Target&) const = default;
  };
};

template <typename Family>
struct ActivityGate {
  Family family;
  std::vector<std::string> paths;  // as written, a trailing "/" kept
  bool operator==(const ActivityGate&) const = default;
};

struct ScanRuleConfig {
  struct BrowserCaches {
    std::vector<std::string> profileRoots;
    std::vector<std::string> selectiveContainers;
    std::set<std::string> cacheLeafNames;
    bool operator==(const BrowserCaches&) const = default;
  };

  struct VersionedCaches {
    struct AgentVersions {
      std::string versions;  // one sub-folder per installed version
      std::string launcher;  // points at the active version
      bool operator==(const AgentVersions&) const = default;
    };
    std::optional<std::string> jetbrainsToolboxApps;
    std::vector<AgentVersions> agentVersions;
    std::vector<std::string> xcodeDeviceSupport;
    bool operator==(const VersionedCaches&) const = default;
  };

  struct LogFiles {
    struct ProjectLogs {
      std::string namePattern;
      std::string databaseNamePattern;
      std::vector<std::string> databaseDirectorySuffixes;
      std::vector<std::string> databaseDirectoryFragments;
      std::set<std::string> skippedBundleExtensions;
      bool operator==(const ProjectLogs&) const = default;
    };
    struct HomebrewServiceLogs {
      std::string namePattern;
      bool operator==(const HomebrewServiceLogs&) const = default;
    };
    ProjectLogs projectLogs;
    HomebrewServiceLogs homebrewServiceLogs;

    // True when the ICU regular expression `pattern` is found anywhere in `name`; false for an
    // empty or uncompilable pattern.
    static bool matches(std::string_view name, std::string_view pattern);
    bool operator==(const LogFiles&) const = default;
  };

  std::vector<SectionRule> cleanRules;
  std::vector<GamePlatformCatalog::Target> gameTargets;
  std::vector<std::string> gamePathMarkers;
  BrowserCaches browserCaches;
  std::vector<ActivityGate<DeveloperCacheActivity::Family>> developerGates;
  std::vector<ActivityGate<ProductProcessActivity::Family>> productGates;
  VersionedCaches versionedCaches;
  std::vector<AgeGatedCaches::Rule> ageGatedCaches;
  std::vector<std::string> deviceFirmwareRoots;
  std::vector<std::string> mailDownloadRoots;
  LogFiles logFiles;

  bool operator==(const ScanRuleConfig&) const = default;
};

}  // namespace tidyloom
