// Reads of the machine's state for the status snapshot: host name, memory, uptime, volume
// capacity, the home Trash and the process list. Each read reports "unknown" instead of failing.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tidyloom::platform {

// The kernel host name, up to the first zero byte; empty when the call fails.
std::string hostName();
// Physical memory in bytes; 0 when unknown.
std::uint64_t physicalMemoryBytes();
// Seconds since boot; 0 when unknown.
double uptimeSeconds();

// Capacities in bytes as the system reports them; nullopt where a figure is unknown.
struct VolumeCapacity {
  std::optional<std::int64_t> total;
  std::optional<std::int64_t> available;
  // What the system could free for important work (purgeable space included); Linux has no purgeable
  // space, so there it equals `available`.
  std::optional<std::int64_t> availableForImportantUsage;
};
VolumeCapacity volumeCapacity(const std::filesystem::path& path);

// The Trash folder of the user whose home is `home` (Linux: $XDG_DATA_HOME/Trash; macOS: ~/.Trash).
std::filesystem::path homeTrashDirectory(const std::filesystem::path& home);

struct ProcessSample {
  int pid = 0;
  std::string name;  // the command name only
  double cpu = 0;    // lifetime CPU percentage, as the system's `ps` reports pcpu
};
struct ProcessList {
  std::size_t count = 0;
  std::vector<ProcessSample> busiest;  // busiest first, at most `limit` entries
};
// The running processes; an unreadable process list gives a count of 0 and no samples.
ProcessList processList(std::size_t limit);

// Parsers of `ps` output, kept apart so they can be tested on any system.
// Output of `ps -ax -o pid=`: the number of non-empty lines.
std::size_t countPsLines(std::string_view output);
// Output of `ps -arcwwwxo pid=,pcpu=,comm=`: PID, CPU, then the rest of the line as the name; lines
// that don't parse are skipped; the first `limit` are kept in output order.
std::vector<ProcessSample> parsePsTop(std::string_view output, std::size_t limit);

// One /proc/PID/stat line, as far as the process list needs it.
struct ProcStat {
  std::string name;              // the command name between the parentheses
  std::uint64_t cpuTicks = 0;    // utime + stime
  std::uint64_t startTicks = 0;  // start time after boot, in clock ticks
};
std::optional<ProcStat> parseProcStat(std::string_view line);
// CPU percentage with one decimal as procps `ps` computes pcpu: CPU time over the whole lifetime.
double lifetimeCpuPercent(std::uint64_t cpuTicks, std::uint64_t startTicks, std::uint64_t ticksPerSecond,
                          double uptimeSeconds);

}  // namespace tidyloom::platform
