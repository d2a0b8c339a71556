// macOS folders: fixed system paths and the per-user folders from confstr.
#include <unistd.h>

#include <cstdlib>

#include "platform/user_dirs.h"

namespace tidyloom::platform {
namespace {

std::filesystem::path confstrDirectory(int name) {
  char buffer[1024];
  const size_t length = ::confstr(name, buffer, sizeof buffer);
  if (length < 1) return temporaryDirectory();
  return std::filesystem::path(buffer) / "";
}

}  // namespace

std::filesystem::path temporaryDirectory() {
  const char* value = std::getenv("TMPDIR");
  return value && *value ? value : "/tmp";
}
std::filesystem::path systemCachesDirectory() { return "/Library/Caches"; }
std::filesystem::path systemLogsDirectory() { return "/Library/Logs"; }
std::filesystem::path varLogDirectory() { return "/private/var/log"; }
std::filesystem::path varDBDirectory() { return "/private/var/db"; }
std::filesystem::path userCacheDirectory() { return confstrDirectory(0x10002); }  // _CS_DARWIN_USER_CACHE_DIR
std::filesystem::path userStateDirectory() { return confstrDirectory(0x10000); }  // _CS_DARWIN_USER_DIR
std::filesystem::path userCacheHome(const std::filesystem::path& home) { return home / "Library" / "Caches"; }
std::filesystem::path userConfigHome(const std::filesystem::path& home) {
  return home / "Library" / "Application Support";
}
std::filesystem::path userDataHome(const std::filesystem::path& home) {
  return home / "Library" / "Application Support";
}
std::filesystem::path applicationSupportDirectory(const std::filesystem::path& home) {
  return home / "Library" / "Application Support" / "Tidyloom";
}
std::filesystem::path userDefaultsFile(const std::filesystem::path& home) {
  return home / "Library" / "Preferences" / "com.tidyloom.app.json";
}

}  // namespace tidyloom::platform
