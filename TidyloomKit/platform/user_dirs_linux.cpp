// Linux folders: the XDG base directories and the /var folders that play the macOS roles.
#include <cstdlib>

#include "platform/user_dirs.h"

namespace tidyloom::platform {
namespace {

// An XDG variable counts only when it holds an absolute path (XDG Base Directory rules).
std::filesystem::path xdg(const char* variable, const std::filesystem::path& fallback) {
  const char* value = std::getenv(variable);
  if (value && value[0] == '/') return value;
  return fallback;
}

}  // namespace

std::filesystem::path temporaryDirectory() { return xdg("TMPDIR", "/tmp"); }
std::filesystem::path systemCachesDirectory() { return "/var/cache"; }
std::filesystem::path systemLogsDirectory() { return "/var/crash"; }
std::filesystem::path varLogDirectory() { return "/var/log"; }
std::filesystem::path varDBDirectory() { return "/var/lib"; }
std::filesystem::path userCacheDirectory() { return xdg("XDG_CACHE_HOME", homeFromPasswordDatabase() / ".cache"); }
std::filesystem::path userStateDirectory() {
  return xdg("XDG_STATE_HOME", homeFromPasswordDatabase() / ".local" / "state");
}
std::filesystem::path applicationSupportDirectory(const std::filesystem::path& home) {
  return xdg("XDG_DATA_HOME", home / ".local" / "share") / "tidyloom";
}
std::filesystem::path userDefaultsFile(const std::filesystem::path& home) {
  return xdg("XDG_CONFIG_HOME", home / ".config") / "tidyloom" / "settings.json";
}

}  // namespace tidyloom::platform
