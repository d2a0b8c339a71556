// The peer requirement text and the idle schedule of the daemon.
#include <gtest/gtest.h>

#include "helper/helper_activity.h"
#include "helper/privileged_helper.h"

namespace tidyloom {
namespace {

TEST(PeerRequirementTest, NamesTheIdentifierAndPinsTheTeam) {
  EXPECT_EQ(
      PrivilegedHelper::peerRequirement("com.tidyloom.app.cdn", std::string("ABCDE12345")),
      R"(anchor apple generic and identifier "com.tidyloom.app.cdn" and certificate leaf[subject.OU] = "ABCDE12345")");
}

class RefusedTeamTest : public ::testing::TestWithParam<std::optional<std::string>> {};

TEST_P(RefusedTeamTest, GivesNoRequirement) {
  EXPECT_EQ(PrivilegedHelper::peerRequirement(PrivilegedHelper::label, GetParam()), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(UnsignedOrUnsafeTeams, RefusedTeamTest,
                         ::testing::Values(std::nullopt, std::string(), std::string("ABCDE-1234"),
                                           std::string("ÄBCDE12345"), std::string("ABCDE12345\r\n"),
                                           std::string("AB\"CD")));

TEST(PeerRequirementTest, AnUnsignedLinuxBuildHasNoTeamAndSoNoRequirement) {
  EXPECT_EQ(PrivilegedHelper::ownTeamIdentifier(), std::nullopt);
  EXPECT_EQ(PrivilegedHelper::peerRequirement(PrivilegedHelper::clientIdentifier), std::nullopt);
}

// A clock the test moves by hand.
struct ManualClock {
  std::shared_ptr<double> now = std::make_shared<double>(1000);
  HelperClock clock() const {
    return [now = now] { return *now; };
  }
};

TEST(HelperActivityTest, AFreshActivityIsIdleOnlyForThresholdsUpToItsAge) {
  ManualClock time;
  PrivilegedHelperActivity activity(time.clock());
  *time.now += 5;
  EXPECT_TRUE(activity.isIdle(0));
  EXPECT_TRUE(activity.isIdle(5));
  EXPECT_FALSE(activity.isIdle(5.5));
}

TEST(HelperActivityTest, OverlappingRequestsCountUpAndDownAndTheLaterEndCounts) {
  ManualClock time;
  PrivilegedHelperActivity activity(time.clock());
  std::vector<long> counts{activity.active()};
  activity.begin();
  counts.push_back(activity.active());
  activity.begin();
  counts.push_back(activity.active());
  *time.now = 1010;
  activity.end();
  counts.push_back(activity.active());
  EXPECT_FALSE(activity.isIdle(0));
  *time.now = 1020;
  activity.end();
  counts.push_back(activity.active());
  EXPECT_EQ(counts, (std::vector<long>{0, 1, 2, 1, 0}));
  EXPECT_EQ(activity.lastFinished(), 1020);
}

// Runs the idle watch against a manual clock; `atCheck` may start or end requests at a check time.
double runIdleWatch(ManualClock& time, const PrivilegedHelperActivityRef& activity,
                    const std::function<void(double)>& atCheck, std::vector<double>* checks = nullptr) {
  const double start = *time.now;
  IdleWatch watch{activity, time.clock(), [&](double until) {
                    *time.now = until;
                    if (checks) checks->push_back(until - start);
                    atCheck(until - start);
                  }};
  return watch.run() - start;
}

TEST(IdleWatchTest, WithoutRequestsTheDaemonExitsAtTheCheckAtTwoMinutes) {
  ManualClock time;
  auto activity = std::make_shared<PrivilegedHelperActivity>(time.clock());
  std::vector<double> checks;
  EXPECT_EQ(runIdleWatch(
                time, activity, [](double) {}, &checks),
            120);
  EXPECT_EQ(checks, (std::vector<double>{60, 90, 120}));
}

TEST(IdleWatchTest, TheIdleClockStartsWhenTheLastRequestEnds) {
  ManualClock time;
  auto activity = std::make_shared<PrivilegedHelperActivity>(time.clock());
  const double start = *time.now;
  // A request from 95 s to 100 s: the checks at 210 s (110 s idle) keep it, 240 s ends it.
  const double exitAt = runIdleWatch(time, activity, [&](double at) {
    if (at == 90) {
      *time.now = start + 95;
      activity->begin();
      *time.now = start + 100;
      activity->end();
      *time.now = start + 90;
    }
  });
  EXPECT_EQ(exitAt, 240);
}

TEST(IdleWatchTest, NeverExitsWhileARequestRuns) {
  ManualClock time;
  auto activity = std::make_shared<PrivilegedHelperActivity>(time.clock());
  // One request runs from 60 s to 600 s; the first check 120 s after its end is at 720 s.
  const double exitAt = runIdleWatch(time, activity, [&](double at) {
    if (at == 60) activity->begin();
    if (at == 600) activity->end();
  });
  EXPECT_EQ(exitAt, 720);
}

}  // namespace
}  // namespace tidyloom
