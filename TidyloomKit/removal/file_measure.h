// FileMeasure: the bytes that deleting an item frees (allocated, clone-aware, hard links once).
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "core/scan_progress.h"

namespace tidyloom {

struct FileMeasure {
  // A regular file: its allocated bytes, or its private size when that is smaller. A folder: the
  // sum over its tree on the same device, each (device, inode) counted once. Anything else, or a
  // path that cannot be read: 0. Each regular file measured is credited to `tally` when given.
  // A triggered `token` stops the walk early; the partial sum is then returned.
  static std::uint64_t byteSize(const std::filesystem::path& url, const ScanTallyRef& tally = nullptr,
                                const CancellationToken& token = {});
  // The same for the item `name` inside the held folder `parentFd`; nothing is looked up by path.
  static std::uint64_t byteSizeAt(int parentFd, const char* name, const ScanTallyRef& tally = nullptr,
                                  const CancellationToken& token = {});
};

}  // namespace tidyloom
