// A shallow folder listing with the few attributes the finders need, read relative to the folder.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "analysis/large_file_item.h"

namespace tidyloom {

enum class EntryType { regular, directory, symlink, other };

struct DirectoryEntry {
  std::string name{};
  EntryType type = EntryType::other;
  std::uint64_t device = 0;
  std::optional<std::uint64_t> logicalSize{};
  std::optional<std::uint64_t> allocatedSize{};
  std::optional<FileTime> accessed{};
  std::optional<FileTime> modified{};

  // The logical size (0 when unknown), lowered to the allocated size when that is known and
  // smaller, so that sparse and cloned files are not overcounted.
  std::uint64_t countedSize() const {
    const std::uint64_t logical = logicalSize.value_or(0);
    return allocatedSize ? std::min(logical, *allocatedSize) : logical;
  }
};

// Every entry of `path` (hidden ones included, "." and ".." not), links not followed. Attributes are
// read for files and folders only. A folder that cannot be read yields nothing.
std::vector<DirectoryEntry> readDirectoryEntries(const std::string& path);

// The device number of `path`, or nullopt when it cannot be read.
std::optional<std::uint64_t> deviceOf(const std::string& path);

}  // namespace tidyloom
