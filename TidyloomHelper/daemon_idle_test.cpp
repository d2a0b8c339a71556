// The idle exit for real: a daemon that gets no request ends by itself with status 0 after two minutes.
#include <gtest/gtest.h>

#include "daemon_harness.h"

namespace tidyloom::testing {
namespace {

TEST(DaemonIdleTest, AnUnusedDaemonExitsWithStatusZeroAtTheTwoMinuteCheck) {
  if (!runningAsRoot()) GTEST_SKIP() << "the daemon runs only as root";
  TempTree tree;
  ActivatedDaemon daemon(builtProgram("TidyloomHelper"), tree.path("helper.sock"));
  EXPECT_EQ(daemon.waitForExit(110), std::nullopt);  // the checks at 60 s and 90 s keep it
  EXPECT_EQ(daemon.waitForExit(30), 0);              // the check at 120 s ends it
}

}  // namespace
}  // namespace tidyloom::testing
