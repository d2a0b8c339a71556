// The rule file as written, decoded from JSON with the key path of any failure.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "clean/clean_targets_store.h"

namespace tidyloom::rules {

struct GamePlatforms {
  std::vector<GamePlatformCatalog::Target> targets;
  std::vector<std::string> ownedPathMarkers;
};

struct BrowserCaches {
  std::vector<std::string> profileRoots;
  std::vector<std::string> selectiveContainers;
  std::vector<std::string> cacheLeafNames;
};

struct Gate {
  std::string family;
  std::vector<std::string> paths;
};

struct LogFiles {
  std::string namePattern;
  std::string databaseNamePattern;
  std::vector<std::string> databaseDirectorySuffixes;
  std::vector<std::string> databaseDirectoryFragments;
  std::vector<std::string> skippedBundleExtensions;
  std::string homebrewNamePattern;
};

// Absent optional keys (or null values) are empty optionals; unknown keys are ignored.
struct Document {
  std::vector<CleanTargetsStore::Rule> rules;
  std::optional<GamePlatforms> gamePlatforms;
  std::optional<BrowserCaches> browserCaches;
  std::optional<std::vector<Gate>> developerGates;
  std::optional<std::vector<Gate>> productGates;
  std::optional<ScanRuleConfig::VersionedCaches> versionedCaches;
  std::optional<std::vector<AgeGatedCaches::Rule>> ageGatedCaches;
  std::optional<std::vector<std::string>> deviceFirmwareRoots;
  std::optional<std::vector<std::string>> mailDownloadRoots;
  std::optional<LogFiles> logFiles;
};

// Throws CleanTargetsStore::DecodingError for text that is not JSON, a missing required key or a
// value of the wrong type.
Document decodeDocument(std::string_view data);

}  // namespace tidyloom::rules
