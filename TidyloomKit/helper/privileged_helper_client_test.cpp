// The client's call: first answer wins, deadlines, invalid replies, and who gets a client at all.
#include <gtest/gtest.h>

#include <atomic>
#include <stop_token>
#include <thread>

#include <thread>

#include "core/engine_error.h"
#include "helper/privileged_helper.h"
#include "helper/privileged_helper_client.h"
#include "helper/reply_box.h"
#include "l10n/l10n.h"

namespace tidyloom {
namespace {

using namespace std::chrono_literals;

// A link that answers from a script instead of a daemon, and records what it was sent.
struct ScriptedLink : HelperLink {
  std::function<void(const HelperRequest&, ReplyHandler, ErrorHandler)> script;
  bool usable = true;
  std::shared_ptr<std::vector<HelperRequest>> sent = std::make_shared<std::vector<HelperRequest>>();
  std::shared_ptr<int> invalidated = std::make_shared<int>(0);
  std::shared_ptr<std::atomic<bool>> finishedEarly = std::make_shared<std::atomic<bool>>(false);
  std::thread answering;

  bool send(const HelperRequest& request, ReplyHandler reply, ErrorHandler error) override {
    if (!usable) return false;
    sent->push_back(request);
    answering = std::thread([this, request, reply, error] { script(request, reply, error); });
    return true;
  }
  void invalidate() override {
    if (answering.joinable()) answering.join();
    ++*invalidated;
  }
  void finishEarly() override { *finishedEarly = true; }
};

class PrivilegedHelperClientTest : public ::testing::Test {
 protected:
  void SetUp() override { L10n::setLanguage(AppLanguage::simplifiedChinese); }
  void TearDown() override { L10n::setLanguage(AppLanguage::system); }

  PrivilegedHelperClient client(
      std::function<void(const HelperRequest&, HelperLink::ReplyHandler, HelperLink::ErrorHandler)> script,
      bool usable = true) {
    return PrivilegedHelperClient("uid 0", [=, this] {
      auto link = std::make_unique<ScriptedLink>();
      link->script = script;
      link->usable = usable;
      link->sent = sent_;
      link->invalidated = invalidated_;
      link->finishedEarly = finishedEarly_;
      return link;
    });
  }

  std::string failureOf(const PrivilegedHelperClient& c, std::chrono::milliseconds timeout = 2s) {
    try {
      c.call(timeout, ScanSystemRequest{});
    } catch (const EngineError& error) {
      return error.message();
    }
    return "no error";
  }

  std::shared_ptr<std::vector<HelperRequest>> sent_ = std::make_shared<std::vector<HelperRequest>>();
  std::shared_ptr<int> invalidated_ = std::make_shared<int>(0);
  std::shared_ptr<std::atomic<bool>> finishedEarly_ = std::make_shared<std::atomic<bool>>(false);
};

TEST_F(PrivilegedHelperClientTest, ScanRowsBecomeRemovableCandidatesInOrder) {
  auto c = client([](const HelperRequest&, auto reply, auto) {
    reply(encodeCandidates({{"/var/log/b.log", "systemCaches", 2}, {"/var/log/a.log", "systemCaches", 1}}),
          std::nullopt);
  });
  const auto candidates = c.scanSystem(true);
  ASSERT_EQ(candidates.size(), 2u);
  EXPECT_EQ(candidates[0], (CleanupCandidate{"/var/log/b.log", "systemCaches", 2, true}));
  EXPECT_EQ(candidates[1].path, "/var/log/a.log");
  EXPECT_TRUE(std::get<ScanSystemRequest>(sent_->at(0)).includesRebuildableCaches);
  EXPECT_EQ(*invalidated_, 1);
}

TEST_F(PrivilegedHelperClientTest, RemovalSendsTheCurrentLanguageAndReturnsTheReport) {
  L10n::setLanguage(AppLanguage::english);
  auto c = client([](const HelperRequest&, auto reply, auto) {
    reply(encodeRemoval({{"/a"}, {{"/b", "refused"}}, 42}), std::nullopt);
  });
  const RunReport report = c.removeSystemPaths({"/a", "/b"}, {});
  EXPECT_EQ(report.removed, std::vector<std::string>{"/a"});
  EXPECT_EQ(report.failed, (std::vector<FailedPath>{{"/b", "refused"}}));
  EXPECT_EQ(report.freedBytes, 42u);
  EXPECT_TRUE(report.notes.empty());
  EXPECT_EQ(std::get<RemoveSystemPathsRequest>(sent_->at(0)).language, "en");
}

TEST_F(PrivilegedHelperClientTest, AStopTellsTheDaemonAndKeepsWhatItHandled) {
  auto finished = finishedEarly_;
  auto c = client([finished](const HelperRequest&, auto reply, auto) {
    // The daemon works until the client says it will ask nothing more, then answers.
    while (!*finished) std::this_thread::sleep_for(5ms);
    reply(encodeRemoval({{"/a"}, {{"/b", "删除已停止，未处理此路径"}}, 7}), std::nullopt);
  });
  std::stop_source stop;
  std::thread pressCtrlC([&] {
    std::this_thread::sleep_for(150ms);
    stop.request_stop();
  });
  const RunReport report = c.removeSystemPaths({"/a", "/b"}, stop.get_token());
  pressCtrlC.join();
  EXPECT_TRUE(report.interrupted);
  EXPECT_EQ(report.removed, std::vector<std::string>{"/a"});
  EXPECT_TRUE(report.failed.empty());
  EXPECT_EQ(report.freedBytes, 7u);
}

TEST_F(PrivilegedHelperClientTest, AReplyWithNeitherBytesNorMessageIsInvalidData) {
  auto c = client([](const HelperRequest&, auto reply, auto) { reply(std::nullopt, std::nullopt); });
  EXPECT_EQ(failureOf(c), "系统权限助手失败：系统权限助手返回无效数据");
}

TEST_F(PrivilegedHelperClientTest, AConnectionErrorIsThrownAsAHelperFailure) {
  auto c = client([](const HelperRequest&, auto, auto error) { error("拒绝"); });
  EXPECT_EQ(failureOf(c), "系统权限助手失败：拒绝");
}

TEST_F(PrivilegedHelperClientTest, AnUnusableProxyCannotConnect) {
  auto c = client([](const HelperRequest&, auto, auto) {}, false);
  EXPECT_EQ(failureOf(c), "无法连接系统权限助手");
}

TEST_F(PrivilegedHelperClientTest, NoAnswerBeforeTheDeadlineIsNoResponse) {
  auto c = client([](const HelperRequest&, auto reply, auto) {
    std::this_thread::sleep_for(300ms);
    reply(std::string("[]"), std::nullopt);  // too late: dropped
  });
  EXPECT_EQ(failureOf(c, 20ms), "系统权限助手无响应");
}

TEST_F(PrivilegedHelperClientTest, UndecodableBytesThrowTheDecodersError) {
  auto c = client([](const HelperRequest&, auto reply, auto) { reply(std::string("{"), std::nullopt); });
  EXPECT_THROW(c.scanSystem(false), EngineError);
}

TEST(ReplyBoxTest, TheFirstAnswerWinsAndLaterOnesAreDropped) {
  for (int round = 0; round < 50; ++round) {
    ReplyBox box;
    std::thread error([&] { box.finish(std::nullopt, std::string("failure")); });
    std::thread data([&] { box.finish(std::string("[]"), std::nullopt); });
    const auto first = box.wait(std::chrono::steady_clock::now() + 5s);
    error.join();
    data.join();
    const auto again = box.wait(std::chrono::steady_clock::now());
    EXPECT_EQ(first.index(), again.index());
    EXPECT_NE(first.index(), 2u);
  }
}

TEST(ReplyBoxTest, AMessageBeatsBytesInOneAnswerAndATimeoutIsFinal) {
  ReplyBox both;
  both.finish(std::string("[]"), std::string("boom"));
  EXPECT_EQ(std::get<ReplyBox::Failure>(both.wait(std::chrono::steady_clock::now())).message, "boom");
  ReplyBox silent;
  EXPECT_TRUE(std::holds_alternative<ReplyBox::TimedOut>(silent.wait(std::chrono::steady_clock::now())));
  silent.finish(std::string("[]"), std::nullopt);
  EXPECT_TRUE(std::holds_alternative<ReplyBox::TimedOut>(silent.wait(std::chrono::steady_clock::now())));
}

TEST(LiveClientTest, OnlyTheInstalledBuildWithAnEnabledDaemonGetsAClient) {
  using platform::HelperRegistrationStatus;
  platform::HelperHostFacts facts{std::string(PrivilegedHelper::clientIdentifier), HelperRegistrationStatus::enabled,
                                  "/run/test.sock", false};
  const auto client = PrivilegedHelperClient::liveIfEnabled(facts);
  ASSERT_TRUE(client);
  EXPECT_EQ(client->requirement(), "uid 0");

  for (const auto status : {HelperRegistrationStatus::notRegistered, HelperRegistrationStatus::requiresApproval,
                            HelperRegistrationStatus::notFound}) {
    auto unregistered = facts;
    unregistered.registration = status;
    EXPECT_FALSE(PrivilegedHelperClient::liveIfEnabled(unregistered));
  }
  auto otherBuild = facts;
  otherBuild.bundleIdentifier = "com.tidyloom.app";
  EXPECT_FALSE(PrivilegedHelperClient::liveIfEnabled(otherBuild));
  otherBuild.bundleIdentifier.reset();
  EXPECT_FALSE(PrivilegedHelperClient::liveIfEnabled(otherBuild));
  // Signed peers without a team identifier (an unsigned build): no client.
  auto unsignedBuild = facts;
  unsignedBuild.signedPeers = true;
  EXPECT_FALSE(PrivilegedHelperClient::liveIfEnabled(unsignedBuild));
}

TEST(LiveClientTest, ADevelopmentBuildIsNotTheInstalledFrontEnd) {
  const auto facts = platform::helperHostFacts(PrivilegedHelper::clientIdentifier, PrivilegedHelper::label);
  EXPECT_EQ(facts.bundleIdentifier, std::nullopt);  // this test binary is in a build tree
  EXPECT_FALSE(PrivilegedHelperClient::liveIfEnabled(facts));
}

}  // namespace
}  // namespace tidyloom
