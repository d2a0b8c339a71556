// The platform's Trash: moving an item there so the user's file browser can list and restore it,
// finding every Trash of the user, and keeping a Trash's own records right when an item leaves it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace tidyloom::platform {

struct TrashRequest {
  int parentFd = -1;                   // the folder holding the item, already checked
  std::string name;                    // the item's name in it
  std::filesystem::path originalPath;  // absolute path with its parent folders resolved
  bool isDirectory = false;
  std::uint64_t byteSize = 0;  // measured size, kept in the Trash's folder-size cache
  std::filesystem::path home;  // whose Trash receives items on the home's file system
};

// Where a moved item now lies: `name` inside `folder`.
struct TrashMove {
  TrashMove() = default;
  // A move that failed with `failure`.
  TrashMove(std::error_code failure) : error(failure) {}  // NOLINT(google-explicit-constructor)
  TrashMove(std::error_code failure, std::filesystem::path into, std::string as)
      : error(failure), folder(std::move(into)), name(std::move(as)) {}

  std::error_code error;
  std::filesystem::path folder;
  std::string name;
};

// Moves the item into the Trash of the file system it lives on; never copies across devices.
// The error is errno-style (EXDEV when no Trash is usable on that device).
TrashMove moveToTrash(const TrashRequest& request);

// renameat that fails with EEXIST instead of replacing an existing destination.
std::error_code renameNoReplace(int fromFd, const std::string& from, int toFd, const std::string& to);

// Whether a Finder-like file browser can be asked to delete an application bundle.
bool finderAvailable();

// One Trash of the user.
struct TrashLocation {
  std::filesystem::path items;  // where trashed items lie ("files" of a freedesktop.org Trash)
  // The freedesktop.org record folder ("info", with "directorysizes" beside it); empty where the
  // platform keeps no such record (macOS, a fixture's plain folder).
  std::filesystem::path info;
  // The volume top that a relative recorded path starts from; empty for the home Trash.
  std::filesystem::path topdir;
  bool operator==(const TrashLocation&) const = default;
};

// Every Trash of the current user that exists now: the home Trash first, then those at the top of
// mounted local volumes ($topdir/.Trash/$uid and $topdir/.Trash-$uid; .Trashes/$uid on macOS).
// A folder that is a link or belongs to someone else is not the user's and is left out.
std::vector<TrashLocation> userTrashes(const std::filesystem::path& home);

// The Trash whose items folder is `folder`, when the layout is freedesktop.org's (a "files" folder
// with "info" beside it); otherwise a plain folder Trash.
TrashLocation trashLocationOf(const std::filesystem::path& folder);

// One trashed item as its Trash describes it.
struct TrashEntry {
  std::string name;                         // its name in the items folder
  std::optional<std::string> originalPath;  // absolute, from its .trashinfo
  std::optional<std::string> deletionDate;  // local time "YYYY-MM-DDThh:mm:ss"
};
// The items of a Trash with what their records say, in the folder's order. Never fails: an
// unreadable Trash has no items, a missing or broken record leaves the fields empty.
std::vector<TrashEntry> trashEntries(const TrashLocation& trash);

// After an item left the Trash (deleted or put back): removes its .trashinfo and its line of the
// folder-size cache. Does nothing while an item of that name is still there, so a record is
// never taken from an item it belongs to.
void forgetTrashed(const TrashLocation& trash, const std::string& name);

}  // namespace tidyloom::platform
