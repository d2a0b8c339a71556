// Live and fixture scan roots.
#include "core/scan_roots.h"

#include "platform/user_dirs.h"

namespace tidyloom {

ScanRoots ScanRoots::live() {
  return ScanRoots{
      .home = RealHome::url(),
      .temporary = platform::temporaryDirectory(),
      .systemLibraryCaches = platform::systemCachesDirectory(),
      .systemLibraryLogs = platform::systemLogsDirectory(),
      .privateVarLog = platform::varLogDirectory(),
      .privateVarDB = platform::varDBDirectory(),
      .darwinUserCache = platform::userCacheDirectory(),
      .darwinUserDirectory = platform::userStateDirectory(),
  };
}

ScanRoots ScanRoots::fixture(const std::filesystem::path& dir) {
  return ScanRoots{
      .home = dir,
      .temporary = dir / "tmp",
      .systemLibraryCaches = dir / "SystemLibrary" / "Caches",
      .systemLibraryLogs = dir / "SystemLibrary" / "Logs",
      .privateVarLog = dir / "private" / "var" / "log",
      .privateVarDB = dir / "private" / "var" / "db",
      .darwinUserCache = dir / "private" / "var" / "folders" / "zz" / "C",
      .darwinUserDirectory = dir / "private" / "var" / "folders" / "zz" / "0",
  };
}

const std::filesystem::path& RealHome::url() {
  static const std::filesystem::path home = platform::homeFromPasswordDatabase();
  return home;
}

}  // namespace tidyloom
