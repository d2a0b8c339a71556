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

// Opens the folder `name` in `directoryFd` for lookups only (no read permission needed), without
// following a symbolic link. Returns -1 with errno set on failure.
int openDirectoryForLookup(int directoryFd, const char* name);

}  // namespace tidyloom::platform
