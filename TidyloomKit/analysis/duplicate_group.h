// DuplicateGroup: files with identical content, in keeping order, the first being the copy to keep.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "analysis/large_file_item.h"

namespace tidyloom {

struct DuplicateGroup {
  std::string id{};                    // the size and the SHA-256 digests that proved the content equal, joined by "-"
  std::uint64_t size = 0;              // of one copy
  std::vector<LargeFileItem> files{};  // in keeping order
  std::string name{};                  // the most frequent file name among the copies

  // The suggested copy to keep: the most recently used, then the shallowest, then the first by path.
  std::optional<LargeFileItem> keeper() const;
  LargeFileKind kind() const;
  // Bytes freed by deleting every copy but one.
  std::uint64_t wastedBytes() const { return files.empty() ? 0 : size * (files.size() - 1); }

  // `files` in keeping order (a stable sort).
  static std::vector<LargeFileItem> ranked(std::vector<LargeFileItem> files);
  // This group without `paths`; it may fall below two files, which the caller decides about.
  DuplicateGroup removing(const std::set<std::string>& paths) const;
  // The display name of a set of copies in keeping order; ties go to the earlier name.
  static std::string displayName(const std::vector<LargeFileItem>& files);
};

}  // namespace tidyloom
