// SpaceLensIndex: what a space-lens walk found, and listings of indexed folders biggest first.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>

#include <nlohmann/json_fwd.hpp>

#include "analysis/space_lens.h"

namespace tidyloom {

struct SpaceLensIndex {
  struct DirectoryStat {
    std::uint64_t bytes = 0;  // every byte below the directory, at any depth
    std::int64_t items = 0;   // entries directly inside it

    bool operator==(const DirectoryStat&) const = default;
  };

  std::string rootPath;
  std::uint64_t totalSize = 0;
  bool completed = true;  // false when the walk was stopped
  bool skipsProtected = false;
  int depth = 0;
  std::unordered_map<std::string, DirectoryStat> directories;
  // The home folder the protection rules are judged against (the real home, or a fixture's).
  std::string home;

  // True when the folder's children all have their own statistics (it lies above `depth`).
  bool canList(const std::string& path) const;
  // Rows for the folder's children, biggest first; none when it cannot be listed or read.
  std::optional<SpaceLensListing> listing(const std::string& path, std::int64_t limit) const;
};

void to_json(nlohmann::json& json, const SpaceLensIndex& index);

}  // namespace tidyloom
