// SpaceLensScanner: the multi-threaded walk of one root folder that builds a SpaceLensIndex.
#pragma once

#include <filesystem>
#include <functional>

#include "analysis/space_lens_index.h"
#include "core/scan_progress.h"

namespace tidyloom {

struct SpaceLensScanner {
  // Directory levels below the root that get their own statistics; deeper bytes roll up into
  // their deepest indexed ancestor, so memory is bounded by this, not by the tree.
  int depth = 3;
  int threads = 2;
  // Privacy-protected folders (home Desktop, Library/Mail...) are shown excluded instead of walked.
  bool skipsProtected = false;
  // The home folder of the protection rules; empty means the real home.
  std::string home;
  // Credited with the number of files seen, when set.
  ScanTallyRef tally;

  using ProgressCallback = std::function<void(const SpaceLensProgress&)>;
  using StopCallback = std::function<bool()>;

  // Blocking: walks `root` on `threads` workers and returns the index. `progress` and `shouldStop`
  // are called from worker threads at most every 80 ms; a stopped walk returns what it found with
  // `completed` false. Stays on the root's device(s), never follows symbolic links; unreadable
  // folders count as empty.
  SpaceLensIndex scan(const std::filesystem::path& root, const ProgressCallback& progress = {},
                      const StopCallback& shouldStop = {}) const;
};

// The standardised form of a path: absolute, "." and ".." resolved lexically, no trailing slash.
std::string standardisedPath(const std::filesystem::path& path);

}  // namespace tidyloom
