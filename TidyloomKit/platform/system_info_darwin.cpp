// macOS system reads: host name, sysctl memory and boot time, statfs, and the process list from /bin/ps.
#include <sys/mount.h>
#include <sys/sysctl.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <limits>

#include "core/bounded_probe.h"
#include "platform/system_info.h"

namespace tidyloom::platform {

// Defined in system_info_darwin.mm: the volume's "available capacity for important usage".
std::optional<std::int64_t> importantUsageCapacity(const std::filesystem::path& path);

namespace {

constexpr auto kPsDeadline = std::chrono::seconds(10);

std::optional<std::int64_t> toBytes(std::uint64_t blocks, std::uint64_t blockSize) {
  const auto max = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (blockSize != 0 && blocks > max / blockSize) return std::nullopt;
  return static_cast<std::int64_t>(blocks * blockSize);
}

}  // namespace

std::uint64_t physicalMemoryBytes() {
  std::uint64_t bytes = 0;
  size_t size = sizeof(bytes);
  return ::sysctlbyname("hw.memsize", &bytes, &size, nullptr, 0) == 0 ? bytes : 0;
}

double uptimeSeconds() {
  timeval boot{};
  size_t size = sizeof(boot);
  int mib[2] = {CTL_KERN, KERN_BOOTTIME};
  if (::sysctl(mib, 2, &boot, &size, nullptr, 0) != 0 || boot.tv_sec == 0) return 0;
  timeval now{};
  ::gettimeofday(&now, nullptr);
  const double seconds =
      static_cast<double>(now.tv_sec - boot.tv_sec) + static_cast<double>(now.tv_usec - boot.tv_usec) / 1e6;
  return seconds > 0 ? seconds : 0;
}

VolumeCapacity volumeCapacity(const std::filesystem::path& path) {
  struct statfs fs {};
  if (::statfs(path.c_str(), &fs) != 0) return {};
  VolumeCapacity out;
  out.total = toBytes(fs.f_blocks, fs.f_bsize);
  out.available = toBytes(fs.f_bavail, fs.f_bsize);
  out.availableForImportantUsage = importantUsageCapacity(path);
  return out;
}

std::filesystem::path homeTrashDirectory(const std::filesystem::path& home) { return home / ".Trash"; }

ProcessList processList(std::size_t limit) {
  ProcessList out;
  const auto count = BoundedProbe::run("/bin/ps", {"-ax", "-o", "pid="}, kPsDeadline);
  if (count.launched) out.count = countPsLines(count.output);
  const auto top = BoundedProbe::run("/bin/ps", {"-arcwwwxo", "pid=,pcpu=,comm="}, kPsDeadline);
  if (top.launched) out.busiest = parsePsTop(top.output, limit);
  return out;
}

}  // namespace tidyloom::platform
