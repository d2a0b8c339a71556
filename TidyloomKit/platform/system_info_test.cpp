// Tests of the process-list parsers and the pcpu formula, and of the live reads against the kernel.
#include <sys/statvfs.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/system_info.h"

namespace tidyloom::platform {
namespace {

TEST(PsOutputTest, CountsOnlyNonEmptyLines) {
  EXPECT_EQ(countPsLines("    1\n  234\n\n   \n99999\n"), 3u);
  EXPECT_EQ(countPsLines(""), 0u);
}

TEST(PsOutputTest, TopLinesKeepOutputOrderSkipJunkAndNamesWithSpaces) {
  const auto top = parsePsTop(
      "  812  97.5 Google Chrome Helper (Renderer)\n"
      "garbage line\n"
      "   12  abc launchd\n"
      "  401  12.0 WindowServer\n"
      "   77   3.1\n"
      "    1   0.0 launchd\n"
      "    2   0.0 kernel_task\n"
      "    3   0.0 syslogd\n"
      "    4   0,0 extra\n",
      5);
  ASSERT_EQ(top.size(), 5u);
  EXPECT_EQ(top[0].pid, 812);
  EXPECT_DOUBLE_EQ(top[0].cpu, 97.5);
  EXPECT_EQ(top[0].name, "Google Chrome Helper (Renderer)");
  EXPECT_EQ(top[1].name, "WindowServer");
  EXPECT_EQ(top[4].name, "syslogd");
  // A decimal comma (ps follows the user's locale) reads the same as a point.
  EXPECT_DOUBLE_EQ(parsePsTop("  9  12,5 mds\n", 5).at(0).cpu, 12.5);
}

TEST(ProcStatTest, ReadsNameWithParenthesesAndTheCpuAndStartFields) {
  // Fields: pid (comm) state ppid pgrp session tty tpgid flags minflt cminflt majflt cmajflt utime stime
  // cutime cstime priority nice threads itreal starttime ...
  const auto stat = parseProcStat(
      "4242 (my (odd) name) S 1 4242 4242 0 -1 4194560 100 0 0 0 250 50 7 8 20 0 1 0 "
      "123456 1000 200 18446744073709551615");
  ASSERT_TRUE(stat);
  EXPECT_EQ(stat->name, "my (odd) name");
  EXPECT_EQ(stat->cpuTicks, 300u);  // children's time is not the process's own
  EXPECT_EQ(stat->startTicks, 123456u);
  EXPECT_FALSE(parseProcStat("12 (truncated) S 1 2 3"));
  EXPECT_FALSE(parseProcStat("no parentheses at all"));
}

TEST(ProcStatTest, CpuPercentIsLifetimeTimeOverElapsedInTenths) {
  // 30 s of CPU over a 120.9 s life: 24.81...%, truncated to tenths as ps shows it.
  EXPECT_DOUBLE_EQ(lifetimeCpuPercent(3000, 100 * 100, 100, 220.9), 24.8);
  EXPECT_DOUBLE_EQ(lifetimeCpuPercent(1000, 0, 100, 30.0), 33.3);
  // A process started half a second ago is judged over that half second, not rounded to nothing.
  EXPECT_DOUBLE_EQ(lifetimeCpuPercent(25, 1000, 100, 10.5), 50.0);
  // A clock that makes no sense reads 0 rather than dividing by 0.
  EXPECT_DOUBLE_EQ(lifetimeCpuPercent(50, 1000, 100, 10.0), 0.0);
  EXPECT_DOUBLE_EQ(lifetimeCpuPercent(50, 0, 0, 10.0), 0.0);
  // Several busy threads can exceed 100%.
  EXPECT_DOUBLE_EQ(lifetimeCpuPercent(2000, 0, 100, 10.0), 200.0);
}

TEST(SystemInfoTest, LiveReadsAgreeWithTheKernel) {
  char name[257] = {};
  ASSERT_EQ(::gethostname(name, 256), 0);
  EXPECT_EQ(hostName(), name);
  EXPECT_GT(physicalMemoryBytes(), 0u);
  EXPECT_GT(uptimeSeconds(), 0.0);

  struct statvfs fs {};
  ASSERT_EQ(::statvfs("/", &fs), 0);
  const auto volume = volumeCapacity("/");
  ASSERT_TRUE(volume.total && volume.available);
  EXPECT_EQ(static_cast<std::uint64_t>(*volume.total), static_cast<std::uint64_t>(fs.f_blocks) * fs.f_frsize);
  EXPECT_FALSE(volumeCapacity("/no/such/volume/here").total);

  const auto processes = processList(5);
  EXPECT_GT(processes.count, 1u);
  ASSERT_EQ(processes.busiest.size(), std::min<std::size_t>(5, processes.count));
  for (size_t i = 1; i < processes.busiest.size(); ++i) {
    EXPECT_GE(processes.busiest[i - 1].cpu, processes.busiest[i].cpu);
  }
  EXPECT_EQ(processList(0).busiest.size(), 0u);
}

}  // namespace
}  // namespace tidyloom::platform
