// Folder lookups that are the same on every platform.
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/user_dirs.h"

namespace tidyloom::platform {

std::filesystem::path homeFromPasswordDatabase() {
  if (const passwd* entry = ::getpwuid(::getuid()); entry && entry->pw_dir && *entry->pw_dir) {
    return entry->pw_dir;
  }
  const char* home = std::getenv("HOME");
  return home && *home ? home : "/";
}

std::filesystem::path configDirectory(const std::filesystem::path& home) { return home / ".config" / "tidyloom"; }

}  // namespace tidyloom::platform
