// Browser and Electron application caches: the named cache folders of each browser profile, and
// inside "selective containers" (an application's configuration folder) only those cache folders.
#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "clean/clean_source.h"

namespace tidyloom {

class BrowserCacheScanner : public CleanSource {
 public:
  BrowserCacheScanner(std::filesystem::path home, std::vector<std::string> profileRoots,
                      std::vector<std::string> selectiveContainers, std::set<std::string> cacheLeafNames)
      : home_(std::move(home)),
        profileRoots_(std::move(profileRoots)),
        selectiveContainers_(std::move(selectiveContainers)),
        cacheLeafNames_(std::move(cacheLeafNames)) {}

  std::string_view phaseLabel() const override { return "Library/Application Support/Google/Chrome"; }
  SourceFindings scan(const SourceScanContext& context) const override;
  bool manages(const std::string& path) const override;
  void assertRemovableNow(const std::string& path) const override;

  // A path inside a selective container that is not inside one of its cache folders: the folder
  // holds settings and data, so it may never go as a whole. Gives the localised refusal.
  std::optional<std::string> selectiveContainerRefusal(const std::string& path) const;

 private:
  // The profile root or container holding `path` and the allowed depth of a cache folder in it.
  std::optional<std::pair<std::filesystem::path, int>> placeOf(const std::filesystem::path& path) const;
  void collectLeaves(const std::filesystem::path& folder, int depth, int maxDepth, const SourceScanContext& context,
                     SourceFindings& findings) const;

  std::filesystem::path home_;
  std::vector<std::string> profileRoots_;
  std::vector<std::string> selectiveContainers_;
  std::set<std::string> cacheLeafNames_;
};

}  // namespace tidyloom
