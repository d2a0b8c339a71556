// The Full Disk Access probe: opening a protected file is the only reliable test.
#include "analysis/full_disk_access.h"

#include <fcntl.h>
#include <unistd.h>

#include "core/scan_roots.h"

namespace tidyloom {

bool FullDiskAccess::isGranted(const std::filesystem::path& home) {
  const std::string base = home.empty() ? RealHome::path() : home.string();
  for (const std::string& probe : {std::string("/Library/Application Support/com.apple.TCC/TCC.db"),
                                   base + "/Library/Application Support/com.apple.TCC/TCC.db",
                                   base + "/Library" + "/Safari", base + "/Library" + "/Mail"}) {
    const int fd = ::open(probe.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd >= 0) {
      ::close(fd);
      return true;
    }
  }
  return false;
}

}  // namespace tidyloom
