// ScanFolderStore: remembers the folder a person chose for a scan feature, in the user defaults.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "core/user_defaults.h"

namespace tidyloom {

// One remembered folder: its path, and on macOS a bookmark that still finds it after a rename.
struct ScanFolderBookmark {
  std::string path;
  std::optional<std::string> bookmark;  // JSON: base64 text, or null
};

class ScanFolderStore {
 public:
  ScanFolderStore(UserDefaults defaults, std::string keyPrefix)
      : defaults(std::move(defaults)), keyPrefix(std::move(keyPrefix)) {}

  // Stores the folder under "<keyPrefix>.<featureKey>"; throws EngineError::io when the user
  // defaults cannot be written.
  void save(const std::filesystem::path& url, const std::string& featureKey) const;
  // The remembered folder, standardised; none when nothing usable is stored: no entry, an
  // undecodable one, or a bookmark that no longer resolves and a path where nothing exists.
  std::optional<std::filesystem::path> load(const std::string& featureKey) const;

  UserDefaults defaults;
  std::string keyPrefix;

 private:
  std::string key(const std::string& featureKey) const { return keyPrefix + "." + featureKey; }
};

}  // namespace tidyloom
