// The real daemon, installed and socket-activated: who it serves, what it refuses, what it survives.
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <thread>

#include "daemon_harness.h"
#include "helper/frame_io.h"
#include "helper/helper_protocol.h"

namespace tidyloom::testing {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

TEST(DaemonStartTest, RefusesToRunAsAnyoneButRootWithExactlyItsMessage) {
  if (!runningAsRoot()) GTEST_SKIP() << "needs root to drop to another user";
  const auto result = runAsNobody(builtProgram("TidyloomHelper"), {});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "TidyloomHelper must run as a launchd daemon\n");
  EXPECT_EQ(result.err.size(), 44u);
}

TEST(DaemonStartTest, WithoutAnActivatedSocketItEndsWithStatusOne) {
  if (!runningAsRoot()) GTEST_SKIP() << "the daemon runs only as root";
  const auto result = runProgram(builtProgram("TidyloomHelper"), {}, {}, 30);
  EXPECT_EQ(result.status, 1);
  EXPECT_FALSE(result.err.empty());
}

class InstalledDaemonTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!runningAsRoot()) GTEST_SKIP() << "the daemon and its installation need root";
    socket_ = tree_.path("helper.sock");
  }
  CommandResult tidyloom(const fs::path& program, const std::vector<std::string>& arguments) const {
    return runProgram(program, arguments, {}, 120, {"TIDYLOOM_HELPER_SOCKET=" + socket_.string()});
  }
  // Sends raw bytes on a fresh connection; true when a reply frame came back.
  bool answered(const std::string& bytes) const {
    const int fd = connectTo(socket_);
    if (fd < 0) return false;
    (void)::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    std::string body;
    const auto status = readFrame(fd, body, FrameLimits::kMaxReplyBytes, std::chrono::steady_clock::now() + 15s);
    ::close(fd);
    return status == FrameStatus::ok;
  }

  TempTree tree_;
  fs::path socket_;
};

TEST_F(InstalledDaemonTest, AnyOtherProgramIsRefusedWhateverItSends) {
  ActivatedDaemon daemon(Installation::shared().daemon(), socket_);
  EXPECT_FALSE(answered(frame(encodeRequest(ScanSystemRequest{false}))));
  EXPECT_FALSE(answered(std::string("\xff\xff\xff\xff", 4)));
  EXPECT_FALSE(answered("garbage"));
  EXPECT_EQ(daemon.waitForExit(0.2), std::nullopt);  // still serving
  EXPECT_NE(daemon.log().find("tidyloom"), std::string::npos);
}

TEST_F(InstalledDaemonTest, SurvivesABurstOfConnectionsThatBreakTheFraming) {
  ActivatedDaemon daemon(Installation::shared().daemon(), socket_);
  std::vector<std::thread> clients;
  for (int i = 0; i < 100; ++i) {
    clients.emplace_back([&, i] {
      const int fd = connectTo(socket_);
      if (fd < 0) return;
      const std::string junk = i % 2 ? std::string("\0\x7f\xff\xff", 4) : std::string(1000, 'x');
      (void)::send(fd, junk.data(), junk.size(), MSG_NOSIGNAL);
      ::close(fd);
    });
  }
  for (auto& client : clients) client.join();
  EXPECT_EQ(daemon.waitForExit(0.5), std::nullopt);
}

}  // namespace
}  // namespace tidyloom::testing
