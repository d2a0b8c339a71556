// Linux system reads: the kernel host name, sysinfo, the boot clock, statvfs and /proc.
#include <dirent.h>
#include <sys/statvfs.h>
#include <sys/sysinfo.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <limits>

#include "platform/system_info.h"
#include "platform/user_dirs.h"

namespace tidyloom::platform {
namespace {

std::optional<std::int64_t> toBytes(std::uint64_t blocks, std::uint64_t blockSize) {
  const auto max = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (blockSize != 0 && blocks > max / blockSize) return std::nullopt;
  return static_cast<std::int64_t>(blocks * blockSize);
}

std::optional<int> pidOf(const char* name) {
  int pid = 0;
  for (const char* c = name; *c; ++c) {
    if (*c < '0' || *c > '9' || pid > std::numeric_limits<int>::max() / 10 - 1) return std::nullopt;
    pid = pid * 10 + (*c - '0');
  }
  return *name ? std::optional<int>(pid) : std::nullopt;
}

}  // namespace

std::uint64_t physicalMemoryBytes() {
  struct sysinfo info {};
  if (::sysinfo(&info) != 0) return 0;
  return static_cast<std::uint64_t>(info.totalram) * info.mem_unit;
}

double uptimeSeconds() {
  // The boot clock is what sysinfo's uptime counts (suspend included), with its fraction.
  timespec now{};
  if (::clock_gettime(CLOCK_BOOTTIME, &now) == 0) {
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
  }
  struct sysinfo info {};
  return ::sysinfo(&info) == 0 ? static_cast<double>(info.uptime) : 0;
}

VolumeCapacity volumeCapacity(const std::filesystem::path& path) {
  struct statvfs fs {};
  if (::statvfs(path.c_str(), &fs) != 0) return {};
  VolumeCapacity out;
  out.total = toBytes(fs.f_blocks, fs.f_frsize);
  out.available = toBytes(fs.f_bavail, fs.f_frsize);
  out.availableForImportantUsage = out.available;
  return out;
}

std::filesystem::path homeTrashDirectory(const std::filesystem::path& home) { return userDataHome(home) / "Trash"; }

ProcessList processList(std::size_t limit) {
  ProcessList out;
  DIR* proc = ::opendir("/proc");
  if (proc == nullptr) return out;
  const long ticks = ::sysconf(_SC_CLK_TCK);
  const double uptime = uptimeSeconds();
  std::vector<ProcessSample> all;
  while (const dirent* entry = ::readdir(proc)) {
    const auto pid = pidOf(entry->d_name);
    if (!pid) continue;
    // A process that ends while we look is simply not counted.
    std::ifstream in(std::string("/proc/") + entry->d_name + "/stat");
    std::string line;
    if (!std::getline(in, line)) continue;
    const auto stat = parseProcStat(line);
    if (!stat) continue;
    const auto cpu =
        lifetimeCpuPercent(stat->cpuTicks, stat->startTicks, ticks > 0 ? static_cast<std::uint64_t>(ticks) : 0, uptime);
    all.push_back({*pid, stat->name, cpu});
  }
  ::closedir(proc);
  out.count = all.size();
  const size_t keep = std::min(limit, all.size());
  std::partial_sort(
      all.begin(), all.begin() + static_cast<std::ptrdiff_t>(keep), all.end(),
      [](const ProcessSample& a, const ProcessSample& b) { return a.cpu != b.cpu ? a.cpu > b.cpu : a.pid < b.pid; });
  all.resize(keep);
  out.busiest = std::move(all);
  return out;
}

}  // namespace tidyloom::platform
