// Live and fixture locations.
#include "core/locations.h"

#include "platform/user_dirs.h"

namespace tidyloom {

Locations Locations::live() {
  Locations out;
  out.roots = ScanRoots::live();
  out.applicationSupport = platform::applicationSupportDirectory(out.roots.home);
  out.configDirectory = platform::configDirectory(out.roots.home);
  out.userDefaultsFile = platform::userDefaultsFile(out.roots.home);
  out.applicationRoots = {"/Applications", out.roots.home / "Applications"};
  return out;
}

Locations Locations::fixture(const std::filesystem::path& given) {
  // Every path of the run is compared with these: a DIR reached through a link must read the same
  // as the paths the walks find in it.
  std::error_code error;
  std::filesystem::path dir = std::filesystem::weakly_canonical(std::filesystem::absolute(given), error);
  if (error) dir = std::filesystem::absolute(given).lexically_normal();
  Locations out;
  out.roots = ScanRoots::fixture(dir);
  out.applicationSupport = dir / "Library" / "Application Support" / "Tidyloom";
  out.configDirectory = dir / ".config" / "tidyloom";
  out.userDefaultsFile = dir / "Library" / "Preferences" / "com.tidyloom.app.json";
  out.applicationRoots = {dir / "Applications"};
  out.fixtureTrash = dir / ".Trash";
  out.fixtureRoot = dir;
  return out;
}

}  // namespace tidyloom
