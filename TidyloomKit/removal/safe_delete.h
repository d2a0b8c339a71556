// SafeDelete: permanent removal that cannot be tricked by links or mounts swapped in during the walk.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

#include "core/scan_progress.h"
#include "core/unique_fd.h"

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

// An item resolved once into a held handle: the folder holding it, opened from "/" one component
// at a time without following a link, the item's name in it and its identity as found there.
// Every later step (protection check, measuring, trashing, deleting, the gone check) takes the
// handle, never the path string again.
struct OpenedItem {
  UniqueFd parent;
  std::filesystem::path parentPath;  // the path the held parent names now, read from the descriptor
  std::string name;
  ItemIdentity identity;
  std::filesystem::path path() const { return parentPath / name; }
  // True only when the name is no longer in the held parent (ENOENT); any other answer is not gone.
  bool isGone() const;
  // ESTALE when the name in the held parent is no longer the item that was resolved.
  std::error_code checkUnchanged() const;
};

// Resolves `path` (absolute): its parent folders are made canonical once, then walked from "/"
// with O_NOFOLLOW, so a folder swapped for a link after that lookup ends the walk (ELOOP or
// ENOTDIR) instead of being followed. ENOENT when the item or a parent folder is missing.
std::error_code resolveItem(const std::filesystem::path& path, OpenedItem& out);
// resolveItem, then the identity must equal `expected` (ESTALE otherwise).
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
