// SafeDelete: permanent removal that cannot be tricked by links or mounts swapped in during the walk.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

#include "core/scan_progress.h"
#include "removal/unique_fd.h"

namespace tidyloom {

// What was checked about an item before it is acted on: the same device, inode and file type must
// be found again when it is opened, or the item is left alone.
struct ItemIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  mode_t type = 0;  // the S_IFMT bits
  bool operator==(const ItemIdentity&) const = default;
};

// The identity of `path` itself (a final link is not followed); errno code on failure.
std::error_code identityOf(const std::filesystem::path& path, ItemIdentity& out);

// The folder holding an item, opened from "/" one component at a time without following a link,
// and the item's name in it. `path` must be absolute; its parent folders are resolved first.
struct OpenedItem {
  UniqueFd parent;
  std::filesystem::path parentPath;  // resolved
  std::string name;
};
std::error_code openItem(const std::filesystem::path& path, const ItemIdentity& expected, OpenedItem& out);

namespace SafeDelete {

// Removes the item `name` in `parentFd` and, for a folder, everything below it, with directory
// descriptors only: no symbolic link is followed, no other mount is entered, and every folder
// opened must be the one that was listed. Goes on past single failures and returns the first
// error (EXDEV for a mount, ESTALE for a swapped entry). Stops early when `token` is triggered.
std::error_code removeAt(int parentFd, const std::string& name, const ItemIdentity& expected,
                         const CancellationToken& token = {});

}  // namespace SafeDelete

// Adds the owner-write bit to every folder at or below the item that the real user owns and that
// lacks it (read-only caches, for instance). Unreadable folders are skipped. True when at least
// one folder was changed.
bool makeOwnedDirectoriesWritable(int parentFd, const std::string& name);

}  // namespace tidyloom
