// WhitelistStore: the user's whitelist file ("whitelist.json", a JSON array of patterns).
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tidyloom {

class WhitelistStore {
 public:
  explicit WhitelistStore(std::filesystem::path fileURL) : fileURL(std::move(fileURL)) {}
  // The store in the application-support folder; the folder is created when missing.
  static WhitelistStore inFolder(const std::filesystem::path& applicationSupport);

  std::filesystem::path fileURL;

  // The stored patterns; a missing, unreadable or malformed file reads as empty (never an error).
  std::vector<std::string> load() const;
  // Writes the whole file atomically; throws EngineError::io when it cannot.
  void save(const std::vector<std::string>& patterns) const;
  // True when `path` is under a stored entry taken literally (no wildcards, no expansion).
  bool contains(const std::string& path) const;
  // The patterns in force: the stored ones (or the defaults when there is no file at all), then
  // the safety patterns, expanded.
  std::vector<std::string> effectivePatterns(const std::string& home) const;
};

}  // namespace tidyloom
