// Files that running processes hold open: a cleaner leaves a log being written, or a cache in use,
// where it is.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tidyloom::platform {

enum class OpenState { closed, held, unknown };

// Whether any other process has the regular file at `path` open (or mapped), asked of the kernel
// in one step where it can tell (a write lease on Linux); `unknown` where it cannot.
OpenState regularFileOpenState(const std::string& path);

// The files open in every process this one may look at, read once.
struct OpenFileTable {
  // Canonical paths of open files and folders, sorted, with the short names of the processes
  // that hold each.
  std::map<std::string, std::vector<std::string>> holders;
  // (device, inode) of each open regular file, with the same holders.
  std::map<std::pair<std::uint64_t, std::uint64_t>, std::vector<std::string>> identities;
};

// nullopt when the processes cannot be looked at at all (no /proc, say): callers then fail safe.
std::optional<OpenFileTable> openFileTable();

}  // namespace tidyloom::platform
