// Linux: no "/private" alias; the FHS system folders are always protected.
#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>

#include "platform/system_paths.h"

namespace tidyloom::platform {

std::string withPrivateAlias(std::string path) { return path; }

std::span<const std::string_view> extraSystemPrefixes() {
  static constexpr std::array<std::string_view, 13> kPrefixes{
      "/usr", "/etc", "/boot", "/proc", "/sys", "/dev", "/lib", "/lib32", "/lib64", "/libx32", "/run", "/snap", "/efi",
  };
  return kPrefixes;
}

std::optional<bool> isVolumeRoot(const std::string& path) {
  struct statx info {};
  if (::statx(AT_FDCWD, path.c_str(), 0, STATX_BASIC_STATS, &info) != 0) return std::nullopt;
  if (info.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) return (info.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
  // Older kernels: a mount root sits on another device than its parent.
  struct stat self {
  }, parent{};
  const std::string up = std::filesystem::path(path).parent_path().string();
  if (::stat(path.c_str(), &self) != 0 || ::stat(up.c_str(), &parent) != 0) return std::nullopt;
  return self.st_dev != parent.st_dev || path == "/";
}

std::optional<bool> isMountRootAt(int directoryFd, const char* name) {
  struct statx info {};
  if (::statx(directoryFd, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_TYPE, &info) != 0) return std::nullopt;
  if (!(info.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT)) return std::nullopt;
  return (info.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

int openDirectoryForLookup(int directoryFd, const char* name) {
  return ::openat(directoryFd, name, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

}  // namespace tidyloom::platform
