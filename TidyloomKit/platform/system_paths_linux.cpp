// Linux: no "/private" alias; the FHS system folders are always protected.
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "platform/system_paths.h"

namespace tidyloom::platform {
namespace {

std::string userName() {
  if (const passwd* entry = ::getpwuid(::getuid()); entry && entry->pw_name) return entry->pw_name;
  return std::to_string(::getuid());
}

}  // namespace

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

std::optional<std::string> pathOfDirectory(int directoryFd) {
  const std::string link = "/proc/self/fd/" + std::to_string(directoryFd);
  std::string target(4096, '\0');
  const ssize_t n = ::readlink(link.c_str(), target.data(), target.size());
  if (n <= 0 || static_cast<size_t>(n) >= target.size()) return std::nullopt;
  target.resize(static_cast<size_t>(n));
  // The kernel marks a removed folder this way; such a folder names no path any more.
  if (target.front() != '/' || target.ends_with(" (deleted)")) return std::nullopt;
  return target;
}

std::span<const std::string_view> diagnosticFolders() {
  static constexpr std::array<std::string_view, 2> kFolders{"systemd/coredump", "apport/coredump"};
  return kFolders;
}

std::span<const std::string_view> guardedSystemFolders() {
  static constexpr std::array<std::string_view, 3> kFolders{"/var/lib", "/opt", "/srv"};
  return kFolders;
}

std::span<const std::string> externalVolumeFolders() {
  static const std::array<std::string, 3> kFolders{"/media", "/run/media/" + userName(), "/mnt"};
  return kFolders;
}

std::string_view usersFolder() { return "/home"; }

int openDirectoryForLookup(int directoryFd, const char* name) {
  return ::openat(directoryFd, name, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

}  // namespace tidyloom::platform
