// The real daemon, installed and socket-activated: who it serves, what it refuses, what it survives.
#include <fcntl.h>
#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <thread>

#include <nlohmann/json.hpp>

#include "daemon_harness.h"
#include "helper/frame_io.h"
#include "helper/helper_protocol.h"

namespace tidyloom::testing {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

TEST(DaemonStartTest, RefusesToRunAsAnyoneButRootWithExactlyItsMessage) {
  if (!runningAsRoot()) GTEST_SKIP() << "needs root to drop to another user";
  // The installed copy: the build tree may lie in a folder only its owner can enter.
  const auto result = runAsNobody(Installation::shared().daemon(), {});
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
  // Runs a front end against this test's daemon with a private, empty /root, so that its history
  // and settings (kept in the real home, whatever the environment says) never reach the machine's.
  CommandResult tidyloom(const fs::path& program, const std::vector<std::string>& arguments) const {
    std::vector<std::string> words{"--mount",
                                   "--propagation",
                                   "private",
                                   "/bin/sh",
                                   "-c",
                                   "mount -t tmpfs tidyloom-test /root && exec \"$0\" \"$@\"",
                                   program.string()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return runProgram("/usr/bin/unshare", words, {}, 120, {"TIDYLOOM_HELPER_SOCKET=" + socket_.string(), "LANG=C"});
  }
  nlohmann::json statusOf(const fs::path& program) const {
    const auto result = tidyloom(program, {"--json", "helper", "status"});
    EXPECT_EQ(result.status, 0) << result.err;
    return nlohmann::json::parse(result.out, nullptr, false);
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

TEST_F(InstalledDaemonTest, TheInstalledFrontEndFindsItInstalledEnabledAndReachable) {
  ActivatedDaemon daemon(Installation::shared().daemon(), socket_);
  const auto status = statusOf(Installation::shared().frontEnd());
  EXPECT_EQ(status["installed"], true);
  EXPECT_EQ(status["enabled"], true);
  EXPECT_EQ(status["reachable"], true) << status.dump();
  EXPECT_EQ(status["message"], nullptr);
}

TEST_F(InstalledDaemonTest, TheInstalledFrontEndScansAndRemovesThroughTheDaemon) {
  ActivatedDaemon daemon(Installation::shared().daemon(), socket_);
  const auto frontEnd = Installation::shared().frontEnd();
  const auto scan = tidyloom(frontEnd, {"--json", "system", "scan", "--via-helper", "--rebuildable"});
  EXPECT_EQ(scan.status, 0) << scan.err;
  EXPECT_TRUE(nlohmann::json::parse(scan.out, nullptr, false).is_array()) << scan.out;

  // Paths the system scan does not offer are refused one by one, in the requested language.
  const auto keep = tree_.file("keep.log", 100);
  const auto removal = tidyloom(frontEnd, {"--lang", "en", "--json", "system", "remove", "--via-helper", "--yes",
                                           keep.string(), "/var/log/line\nfeed.log", "/etc/passwd"});
  EXPECT_EQ(removal.status, 1);
  const auto report = nlohmann::json::parse(removal.out, nullptr, false);
  ASSERT_TRUE(report.is_object()) << removal.out << removal.err;
  EXPECT_TRUE(report["removed"].empty());
  ASSERT_EQ(report["failed"].size(), 3u);
  EXPECT_EQ(report["failed"][0]["reason"], "Path is not a system clean target: " + keep.string());
  EXPECT_EQ(report["failed"][1]["reason"], "Path contains control characters: /var/log/line\nfeed.log");
  EXPECT_TRUE(fs::exists(keep));
  EXPECT_TRUE(fs::exists("/etc/passwd"));
}

// An old log of our own in /var/log (a private one: see below), removed again whatever happens.
class OldSystemLog {
 public:
  OldSystemLog() : path_("/var/log/tidyloom-test-" + std::to_string(::getpid()) + ".log.1") {
    std::ofstream(path_) << std::string(20000, 'x');
    const timespec old{std::time(nullptr) - 30 * 86400, 0};
    const timespec times[2] = {old, old};
    ::utimensat(AT_FDCWD, path_.c_str(), times, AT_SYMLINK_NOFOLLOW);
  }
  ~OldSystemLog() {
    std::error_code ignored;
    fs::remove(path_, ignored);
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// Both run in a private mount namespace whose /var/log is an empty tmpfs: the machine's own logs
// are never looked at, let alone touched.
TEST_F(InstalledDaemonTest, AnOldSystemLogIsOfferedAndRemovedThroughTheDaemon) {
  (void)Installation::shared();
  const auto outcome = inPrivateMounts({"/var/log", "/root"}, [&] {
    ActivatedDaemon daemon(Installation::shared().daemon(), socket_);
    const OldSystemLog log;
    const auto frontEnd = Installation::shared().frontEnd();
    const auto scan = tidyloom(frontEnd, {"--json", "system", "scan", "--via-helper"});
    EXPECT_EQ(scan.status, 0) << scan.err;
    EXPECT_NE(scan.out.find(log.path()), std::string::npos) << scan.out;

    const auto removal = tidyloom(frontEnd, {"--json", "system", "remove", "--via-helper", "--yes", log.path()});
    EXPECT_EQ(removal.status, 0) << removal.out << removal.err;
    const auto report = nlohmann::json::parse(removal.out, nullptr, false);
    EXPECT_TRUE(report.is_object()) << removal.out;
    if (!report.is_object()) return false;
    EXPECT_EQ(report["removed"], nlohmann::json::array({log.path()}));
    EXPECT_GE(report["freedBytes"].get<std::uint64_t>(), 20000u);
    EXPECT_FALSE(fs::exists(log.path()));
    return !::testing::Test::HasFailure();
  });
  if (!outcome) GTEST_SKIP() << "no private mount namespace here";
  EXPECT_TRUE(*outcome);
}

TEST_F(InstalledDaemonTest, WithoutTheDaemonTheAdministratorShellRemovesTheSameLog) {
  const auto outcome = inPrivateMounts({"/var/log", "/root"}, [&] {
    const OldSystemLog log;
    // As root the administrator shell is a plain shell: no prompt.
    const auto removal = tidyloom(builtProgram("tidyloom"), {"--json", "system", "remove", "--yes", log.path()});
    EXPECT_EQ(removal.status, 0) << removal.out << removal.err;
    EXPECT_NE(removal.out.find("\"freedBytes\""), std::string::npos);
    EXPECT_FALSE(fs::exists(log.path()));
    return !::testing::Test::HasFailure();
  });
  if (!outcome) GTEST_SKIP() << "no private mount namespace here";
  EXPECT_TRUE(*outcome);
}

TEST_F(InstalledDaemonTest, ACopyOfTheFrontEndOutsideTheInstallationIsRefused) {
  ActivatedDaemon daemon(Installation::shared().daemon(), socket_);
  const auto copy = tree_.path("elsewhere/tidyloom");
  fs::create_directories(copy.parent_path());
  fs::copy_file(Installation::shared().frontEnd(), copy);
  const auto status = statusOf(copy);
  EXPECT_EQ(status["reachable"], false);
  EXPECT_NE(status["message"].get<std::string>().find("refused"), std::string::npos) << status.dump();
  // Nor does the copy offer the helper route at all.
  const auto scan = tidyloom(copy, {"system", "scan", "--via-helper"});
  EXPECT_EQ(scan.status, 1);
  EXPECT_NE(scan.err.find("root-owned installation"), std::string::npos) << scan.err;
}

TEST_F(InstalledDaemonTest, ADaemonOutsideARootOwnedInstallationServesNobody) {
  ActivatedDaemon daemon(builtProgram("TidyloomHelper"), socket_);
  EXPECT_EQ(statusOf(Installation::shared().frontEnd())["reachable"], false);
}

TEST_F(InstalledDaemonTest, ManyConcurrentFrontEndsAreAllServed) {
  ActivatedDaemon daemon(Installation::shared().daemon(), socket_);
  std::vector<std::thread> clients;
  std::atomic<int> reachable = 0;
  for (int i = 0; i < 12; ++i) {
    clients.emplace_back([&] {
      if (statusOf(Installation::shared().frontEnd())["reachable"] == true) ++reachable;
    });
  }
  for (auto& client : clients) client.join();
  EXPECT_EQ(reachable.load(), 12);
  EXPECT_EQ(daemon.waitForExit(0.1), std::nullopt);
}

TEST_F(InstalledDaemonTest, AUserWhoIsNoAdministratorIsRefusedEvenThroughTheInstalledFrontEnd) {
  ActivatedDaemon daemon(Installation::shared().daemon(), socket_);
  fs::permissions(tree_.root(), fs::perms::owner_all | fs::perms::group_exec | fs::perms::others_exec);
  const auto result = runAsNobody(Installation::shared().frontEnd(), {"--lang", "en", "system", "scan", "--via-helper"},
                                  {"TIDYLOOM_HELPER_SOCKET=" + socket_.string(), "HOME=/nonexistent", "LANG=C"});
  EXPECT_EQ(result.status, 1) << result.err;
  EXPECT_NE(daemon.log().find("65534"), std::string::npos) << daemon.log();
  // The same front end run by root is served.
  EXPECT_EQ(statusOf(Installation::shared().frontEnd())["reachable"], true);
}

TEST_F(InstalledDaemonTest, StalledAndHostileConnectionsNeitherBlockAFrontEndNorFloodTheLog) {
  ActivatedDaemon daemon(Installation::shared().daemon(), socket_);
  fs::permissions(tree_.root(), fs::perms::owner_all | fs::perms::group_exec | fs::perms::others_exec);
  // Forty connections that never send a byte, held open by root.
  std::vector<int> stalled;
  for (int i = 0; i < 40; ++i) stalled.push_back(connectTo(socket_));
  // A thousand connections from a user who is no administrator, many open at once.
  const pid_t hostile = ::fork();
  if (hostile == 0) {
    if (::setgroups(0, nullptr) != 0 || ::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(126);
    std::vector<int> open;
    for (int i = 0; i < 1000; ++i) {
      open.push_back(connectTo(socket_));
      if (open.size() == 200) {
        for (const int fd : open) ::close(fd);
        open.clear();
      }
    }
    ::_exit(0);
  }
  EXPECT_EQ(statusOf(Installation::shared().frontEnd())["reachable"], true);
  int status = 0;
  ::waitpid(hostile, &status, 0);
  EXPECT_EQ(statusOf(Installation::shared().frontEnd())["reachable"], true);
  for (const int fd : stalled) ::close(fd);
  EXPECT_EQ(daemon.waitForExit(0.1), std::nullopt);
  const std::string log = daemon.log();
  EXPECT_LT(std::count(log.begin(), log.end(), '\n'), 20) << log;
}

}  // namespace
}  // namespace tidyloom::testing
