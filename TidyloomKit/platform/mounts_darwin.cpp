// macOS mount table from getfsstat, without waiting on unresponsive file systems.
#include <sys/mount.h>
#include <sys/param.h>

#include <vector>

#include "platform/mounts.h"

namespace tidyloom::platform {

static_assert(kMountReadOnly == MNT_RDONLY && kMountLocal == MNT_LOCAL && kMountDontBrowse == MNT_DONTBROWSE);

std::vector<MountEntry> mountTable() {
  const int count = ::getfsstat(nullptr, 0, MNT_NOWAIT);
  if (count < 1) return {};
  std::vector<struct statfs> records(static_cast<size_t>(count));
  const int filled = ::getfsstat(records.data(), static_cast<int>(records.size() * sizeof(struct statfs)), MNT_NOWAIT);
  if (filled < 1) return {};
  std::vector<MountEntry> table;
  for (int i = 0; i < filled && i < count; ++i) {
    const auto& record = records[static_cast<size_t>(i)];
    table.push_back({record.f_mntonname, record.f_mntfromname, record.f_flags, record.f_fstypename});
  }
  return table;
}

std::vector<std::string> volumeFolders() { return {"/Volumes"}; }

std::string blockDevicePrefix() { return "/dev/disk"; }

}  // namespace tidyloom::platform
