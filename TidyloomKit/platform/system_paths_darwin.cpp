// macOS: "/var", "/tmp" and "/etc" are aliases of their "/private" folders.
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <array>
#include <climits>

#include "platform/system_paths.h"

namespace tidyloom::platform {

std::string withPrivateAlias(std::string path) {
  for (const std::string_view alias : {"/var", "/tmp", "/etc"}) {
    if (path == alias || (path.size() > alias.size() && path.starts_with(alias) && path[alias.size()] == '/')) {
      return "/private" + path;
    }
  }
  return path;
}

std::span<const std::string_view> extraSystemPrefixes() { return {}; }

std::optional<bool> isVolumeRoot(const std::string& path) {
  struct statfs fs {};
  if (::statfs(path.c_str(), &fs) != 0) return std::nullopt;
  return path == fs.f_mntonname;
}

std::optional<bool> isMountRootAt(int /*directoryFd*/, const char* /*name*/) { return std::nullopt; }

std::optional<std::string> pathOfDirectory(int directoryFd) {
  char buffer[PATH_MAX];
  if (::fcntl(directoryFd, F_GETPATH, buffer) != 0) return std::nullopt;
  return std::string(buffer);
}

std::span<const std::string_view> diagnosticFolders() {
  static constexpr std::array<std::string_view, 4> kFolders{"diagnostics", "DiagnosticPipeline", "powerlog",
                                                            "reportmemoryexception/MemoryLimitViolations"};
  return kFolders;
}

std::span<const std::string_view> guardedSystemFolders() { return {}; }

std::span<const std::string> externalVolumeFolders() {
  static const std::array<std::string, 1> kFolders{"/Volumes"};
  return kFolders;
}

std::string_view usersFolder() { return {}; }

int openDirectoryForLookup(int directoryFd, const char* name) {
#ifdef O_SEARCH
  return ::openat(directoryFd, name, O_SEARCH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
#else
  // Older SDKs lack the search-only mode; reading needs the folder to be readable.
  return ::openat(directoryFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
#endif
}

}  // namespace tidyloom::platform
