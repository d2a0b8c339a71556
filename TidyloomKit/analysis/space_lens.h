// The space lens' records and rules: which folders are never walked, which are shown as excluded
// (cloud and media libraries, privacy-protected folders), and which devices a walk may stay on.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace tidyloom {

enum class SpaceLensExclusion {
  cloudOrMedia,         // a cloud-synced or media-library folder, deliberately not measured
  needsFullDiskAccess,  // a privacy-protected folder, not measured when protection is on
};
std::string_view rawValue(SpaceLensExclusion exclusion);

struct SpaceLensItem {
  std::string name;
  std::string path;
  std::uint64_t size = 0;
  bool isDir = false;
  std::optional<std::int64_t> itemCount;
  std::optional<SpaceLensExclusion> exclusion;

  bool operator==(const SpaceLensItem&) const = default;
};

struct SpaceLensListing {
  std::string path;
  std::uint64_t totalSize = 0;  // all rows, before the limit
  std::vector<SpaceLensItem> items;
  std::int64_t omittedCount = 0;
};

struct SpaceLensProgress {
  std::string currentPath;
  std::uint64_t scannedBytes = 0;
  std::int64_t scannedItems = 0;
};

void to_json(nlohmann::json& json, const SpaceLensItem& item);
void to_json(nlohmann::json& json, const SpaceLensListing& listing);

struct SpaceLens {
  using NameSet = std::unordered_set<std::string_view>;
  static const NameSet& rootSkippedNames();
  static const NameSet& skippedNames();
  static const NameSet& cloudLibraryNames();
  static const NameSet& mediaContainerNames();
  static const NameSet& mediaLibraryExtensions();
  static const NameSet& protectedHomeNames();
  static const NameSet& protectedLibraryNames();
  static const NameSet& protectedSupportNames();

  // "parent/name", or "/name" under "/".
  static std::string childPath(std::string_view parent, std::string_view name);
  // Never walked nor listed: a virtual-machine or network store anywhere, or a system-internal
  // child of "/".
  static bool isSkipped(std::string_view parent, std::string_view name);
  static bool isCloudOrMedia(std::string_view parent, std::string_view name);
  // Privacy-protected child of a home folder, its Library or its Library/Application Support.
  // `home` is the real home; any "/Users/<name>" counts as a home too.
  static bool isProtected(std::string_view parent, std::string_view name, std::string_view home);
  // The exclusion a directory named `name` in `parent` is shown with, if any.
  static std::optional<SpaceLensExclusion> exclusion(std::string_view parent, std::string_view name,
                                                     bool skipsProtected, std::string_view home);

  // Device numbers a walk of `path` may stay on: the path's own, and for "/" also the data volume's.
  static std::set<std::uint64_t> devices(const std::string& path);
};

}  // namespace tidyloom
