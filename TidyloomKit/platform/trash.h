// The platform's Trash: moving an item there so the user's file browser can list and restore it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

namespace tidyloom::platform {

struct TrashRequest {
  int parentFd = -1;                   // the folder holding the item, already checked
  std::string name;                    // the item's name in it
  std::filesystem::path originalPath;  // absolute path with its parent folders resolved
  bool isDirectory = false;
  std::uint64_t byteSize = 0;  // measured size, kept in the Trash's folder-size cache
  std::filesystem::path home;  // whose Trash receives items on the home's file system
};

// Moves the item into the Trash of the file system it lives on; never copies across devices.
// Returns the errno-style error when it cannot (EXDEV when no Trash is usable on that device).
std::error_code moveToTrash(const TrashRequest& request);

// renameat that fails with EEXIST instead of replacing an existing destination.
std::error_code renameNoReplace(int fromFd, const std::string& from, int toFd, const std::string& to);

// Whether a Finder-like file browser can be asked to delete an application bundle.
bool finderAvailable();

}  // namespace tidyloom::platform
