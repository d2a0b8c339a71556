// How this platform spells canonical paths and which system folders are never removable.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tidyloom::platform {

// Puts "/private" in front of "/var", "/tmp" and "/etc" paths where the system aliases them;
// returns the path unchanged where there is no such alias.
std::string withPrivateAlias(std::string path);

// System folders refused by the protection layer in addition to the shared table.
std::span<const std::string_view> extraSystemPrefixes();

// Whether `path` is the root of a mounted volume; nullopt when that cannot be read.
std::optional<bool> isVolumeRoot(const std::string& path);

// Whether the directory `name` in `directoryFd` is the root of a mount (bind mounts included);
// nullopt when the system cannot tell, and callers then rely on comparing devices.
std::optional<bool> isMountRootAt(int directoryFd, const char* name);

// The absolute path the open folder `directoryFd` names now (it follows renames of the folder);
// nullopt when the folder was removed or the system cannot tell.
std::optional<std::string> pathOfDirectory(int directoryFd);

// The diagnostic sub-folders of the system database root (/private/var/db; Linux /var/lib) that
// the system scan cleans and a userData removal may reach.
std::span<const std::string_view> diagnosticFolders();

// Folders refused with everything below them, beside the system prefixes, except where a scan
// section of the database root lies inside (Linux: /var/lib, /opt, /srv).
std::span<const std::string_view> guardedSystemFolders();

// The folder that holds every user's home ("/home" on Linux); other users' homes and the folder
// itself are never removable. Empty where homes have no such shared parent.
std::string_view usersFolder();

// Where removable volumes are mounted ("/Volumes"; Linux: "/media", "/run/media/<user>", "/mnt").
std::span<const std::string> externalVolumeFolders();

// Opens the folder `name` in `directoryFd` for lookups only (no read permission needed), without
// following a symbolic link. Returns -1 with errno set on failure.
int openDirectoryForLookup(int directoryFd, const char* name);

}  // namespace tidyloom::platform
