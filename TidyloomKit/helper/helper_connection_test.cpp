// The daemon's connection handling over real socket pairs: refusals, bad frames, stalls, bursts.
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <thread>

#include "core/engine_error.h"
#include "helper/frame_io.h"
#include "helper/helper_connection.h"
#include "l10n/l10n.h"

namespace tidyloom {
namespace {

using namespace std::chrono_literals;

class EmptyScan : public PrivilegedScanSource {
 public:
  std::vector<CleanupCandidate> scanPrivileged(bool) const override { return {{"/x", "systemCaches", 1, true}}; }
  void assertPrivilegedRemovableNow(const std::string& path) const override {
    throw EngineError::protection(L10n::translate("路径不属于系统清理目标：%@", {path}));
  }
};

class HelperConnectionTest : public ::testing::Test {
 protected:
  // Serves the daemon's end of a fresh socket pair on a thread; returns the client's end.
  int connect(bool allowed = true) {
    int ends[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    servers_.emplace_back([this, fd = ends[1], allowed] {
      ConnectionPolicy policy;
      policy.peerAllowed = [allowed](int) { return allowed; };
      policy.requestTimeout = 300ms;
      const auto outcome = serveConnection(fd, service_, policy);
      ::close(fd);
      std::lock_guard guard(lock_);
      outcomes_.push_back(outcome);
    });
    return ends[0];
  }
  void finish() {
    for (auto& server : servers_) server.join();
    servers_.clear();
  }
  // Sends raw bytes and reports whether any reply arrived before the daemon closed.
  static bool repliesTo(int fd, const std::string& bytes) {
    (void)::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    std::string body;
    const auto status = readFrame(fd, body, FrameLimits::kMaxReplyBytes, std::chrono::steady_clock::now() + 5s);
    ::close(fd);
    return status == FrameStatus::ok;
  }
  std::vector<ConnectionOutcome> outcomes() {
    finish();
    return outcomes_;
  }

  PrivilegedHelperService service_{ScanRoots::fixture("/nonexistent"), std::make_shared<EmptyScan>(), nullptr};
  std::vector<std::thread> servers_;
  std::mutex lock_;
  std::vector<ConnectionOutcome> outcomes_;
};

TEST_F(HelperConnectionTest, AWellFormedRequestGetsOneReply) {
  const int fd = connect();
  ASSERT_EQ(writeFrame(fd, encodeRequest(ScanSystemRequest{false}), std::chrono::steady_clock::now() + 5s),
            FrameStatus::ok);
  std::string body;
  ASSERT_EQ(readFrame(fd, body, FrameLimits::kMaxReplyBytes, std::chrono::steady_clock::now() + 5s), FrameStatus::ok);
  const auto reply = parseReply(body);
  ASSERT_TRUE(reply && reply->bytes);
  EXPECT_EQ(decodeCandidates(*reply->bytes).size(), 1u);
  ::close(fd);
  EXPECT_EQ(outcomes(), std::vector<ConnectionOutcome>{ConnectionOutcome::answered});
}

TEST_F(HelperConnectionTest, ARefusedPeerIsClosedBeforeAnythingIsRead) {
  EXPECT_FALSE(repliesTo(connect(false), frame(encodeRequest(ScanSystemRequest{}))));
  EXPECT_EQ(outcomes(), std::vector<ConnectionOutcome>{ConnectionOutcome::refused});
}

class BrokenFrameTest : public HelperConnectionTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(BrokenFrameTest, IsDroppedWithoutAReply) {
  EXPECT_FALSE(repliesTo(connect(), GetParam()));
  EXPECT_EQ(outcomes(), std::vector<ConnectionOutcome>{ConnectionOutcome::dropped});
}

INSTANTIATE_TEST_SUITE_P(Frames, BrokenFrameTest,
                         ::testing::Values(std::string("\0\0\0\0", 4),            // zero length
                                           std::string("\xff\xff\xff\xff", 4),    // far beyond the request bound
                                           std::string("\0\x80\0\x01", 4),        // just beyond it
                                           std::string("\0\0\0\x10{\"sel", 9),    // stalls inside the body
                                           std::string("\0\0", 2),                // stalls inside the header
                                           frame("{\"selector\":\"rm -rf /\"}"),  // unknown operation
                                           frame("\xc3\x28 not json at all")));   // garbage

TEST_F(HelperConnectionTest, ManyConcurrentConnectionsAreAllAnswered) {
  std::vector<int> clients;
  for (int i = 0; i < 64; ++i) clients.push_back(connect());
  std::vector<std::thread> talkers;
  std::atomic<int> answered = 0;
  for (const int fd : clients) {
    talkers.emplace_back([fd, &answered] {
      if (repliesTo(fd, frame(encodeRequest(RemoveSystemPathsRequest{{"/a", "/b"}, "en"})))) ++answered;
    });
  }
  for (auto& talker : talkers) talker.join();
  EXPECT_EQ(answered.load(), 64);
  finish();
}

}  // namespace
}  // namespace tidyloom
