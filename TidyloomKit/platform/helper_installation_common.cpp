// The installation layout shared by the front end, the daemon and the systemd units.
#include "platform/helper_installation.h"

namespace tidyloom::platform {
namespace fs = std::filesystem;

namespace {

// Relative folders of the installation (GNUInstallDirs' defaults; the install rules use the same).
const fs::path kBinDir = "bin";
const fs::path kLibexecDir = "libexec";
const fs::path kUnitDir = "lib/systemd/system";

// How many folders an executable sits below the prefix.
fs::path prefixAbove(const fs::path& executable, const fs::path& relativeFolder) {
  fs::path prefix = executable.parent_path();
  for (auto it = relativeFolder.begin(); it != relativeFolder.end(); ++it) prefix = prefix.parent_path();
  return prefix;
}

}  // namespace

fs::path HelperInstallation::frontEnd() const { return prefix / kBinDir / "tidyloom"; }
fs::path HelperInstallation::daemon() const { return prefix / kLibexecDir / "tidyloom" / "TidyloomHelper"; }
fs::path HelperInstallation::socketUnit() const { return prefix / kUnitDir / kHelperSocketUnit; }
fs::path HelperInstallation::serviceUnit() const { return prefix / kUnitDir / kHelperServiceUnit; }

HelperInstallation HelperInstallation::ofFrontEnd(const fs::path& executable) {
  return {prefixAbove(executable.lexically_normal(), kBinDir)};
}

HelperInstallation HelperInstallation::ofDaemon(const fs::path& executable) {
  return {prefixAbove(executable.lexically_normal(), kLibexecDir / "tidyloom")};
}

std::optional<FileIdentity> HelperInstallation::trustedFrontEnd() const {
  if (!trustedRootFile(daemon())) return std::nullopt;
  return trustedRootFile(frontEnd());
}

bool HelperInstallation::trustsFrontEnd(const fs::path& executable) const {
  const auto trusted = trustedFrontEnd();
  if (!trusted) return false;
  const auto identity = trustedRootFile(executable);
  return identity && *identity == *trusted;
}

}  // namespace tidyloom::platform
