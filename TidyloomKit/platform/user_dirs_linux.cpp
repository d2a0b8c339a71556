// Linux folders: the XDG base directories and the /var folders that play the macOS roles.
#include <cstdlib>
#include <system_error>

#include "platform/user_dirs.h"

namespace tidyloom::platform {
namespace {

// An XDG variable counts only when it holds an absolute path (XDG Base Directory rules).
std::filesystem::path xdg(const char* variable, const std::filesystem::path& fallback) {
  const char* value = std::getenv(variable);
  if (value && value[0] == '/') return value;
  return fallback;
}

// Judged with links resolved, so a link inside the home cannot point the folder elsewhere.
bool inside(const std::filesystem::path& path, const std::filesystem::path& folder) {
  std::error_code error;
  const auto resolved = std::filesystem::weakly_canonical(path, error);
  const auto base = std::filesystem::weakly_canonical(folder, error);
  const auto relative = resolved.lexically_relative(base);
  return !relative.empty() && *relative.begin() != ".." && relative != ".";
}

// Folders that decide what may be removed: the environment may move them within the user's home
// (or the shared temporary folder), never widen them to elsewhere, such as "/" or "/var/lib".
std::filesystem::path confined(const char* variable, const std::filesystem::path& fallback,
                               const std::filesystem::path& alsoAllowed = {}) {
  const std::filesystem::path value = xdg(variable, fallback);
  const auto home = homeFromPasswordDatabase();
  if (value == fallback || inside(value, home) || (!alsoAllowed.empty() && inside(value, alsoAllowed))) return value;
  return fallback;
}

// A base folder of the user whose home is `home`: the variable when it names a folder inside that
// home, so that one run never mixes two users' (or two homes') folders.
std::filesystem::path within(const char* variable, const std::filesystem::path& home, const char* fallback) {
  const std::filesystem::path defaultPath = home / fallback;
  const std::filesystem::path value = xdg(variable, defaultPath);
  return value == defaultPath || inside(value, home) ? value : defaultPath;
}

}  // namespace

std::filesystem::path userCacheHome(const std::filesystem::path& home) {
  return within("XDG_CACHE_HOME", home, ".cache");
}
std::filesystem::path userConfigHome(const std::filesystem::path& home) {
  return within("XDG_CONFIG_HOME", home, ".config");
}
std::filesystem::path userDataHome(const std::filesystem::path& home) {
  return within("XDG_DATA_HOME", home, ".local/share");
}

std::filesystem::path temporaryDirectory() { return confined("TMPDIR", "/tmp", "/tmp"); }
std::filesystem::path systemCachesDirectory() { return "/var/cache"; }
std::filesystem::path systemLogsDirectory() { return "/var/crash"; }
std::filesystem::path varLogDirectory() { return "/var/log"; }
std::filesystem::path varDBDirectory() { return "/var/lib"; }
std::filesystem::path userCacheDirectory() { return confined("XDG_CACHE_HOME", homeFromPasswordDatabase() / ".cache"); }
std::filesystem::path userStateDirectory() {
  return confined("XDG_STATE_HOME", homeFromPasswordDatabase() / ".local" / "state");
}
std::filesystem::path applicationSupportDirectory(const std::filesystem::path& home) {
  return userDataHome(home) / "tidyloom";
}
std::filesystem::path userDefaultsFile(const std::filesystem::path& home) {
  return userConfigHome(home) / "tidyloom" / "settings.json";
}

}  // namespace tidyloom::platform
