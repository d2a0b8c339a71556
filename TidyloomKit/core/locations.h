// Locations: where the product keeps and finds things for one user: live, or under a fixture folder.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "core/scan_roots.h"

namespace tidyloom {

struct Locations {
  ScanRoots roots;
  std::filesystem::path applicationSupport;  // whitelist.json, history.json, usage-stats.json
  std::filesystem::path configDirectory;     // ~/.config/tidyloom
  std::filesystem::path userDefaultsFile;
  std::vector<std::filesystem::path> applicationRoots;
  // Set only in fixture mode: the Trash folder (DIR/.Trash) that replaces the platform's Trash.
  std::optional<std::filesystem::path> fixtureTrash;
  // Set only in fixture mode: the fixture folder itself.
  std::optional<std::filesystem::path> fixtureRoot;

  static Locations live();
  static Locations fixture(const std::filesystem::path& dir);
  bool isFixture() const { return fixtureRoot.has_value(); }
};

}  // namespace tidyloom
