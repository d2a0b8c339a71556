// The daemon's admission: administrators only, bounded per user and in total, refusals logged at a rate.
#include "helper/connection_gate.h"

#include <gtest/gtest.h>

#include <vector>

#include "l10n/l10n.h"

namespace tidyloom {
namespace {

using namespace std::chrono_literals;
using platform::PeerCredentials;

constexpr gid_t kAdmins = 27;

class ConnectionGateTest : public ::testing::Test {
 protected:
  void SetUp() override { L10n::setLanguage(AppLanguage::english); }
  void TearDown() override { L10n::setLanguage(AppLanguage::system); }
  ConnectionGate gate(ConnectionGate::Limits limits = {}) {
    return ConnectionGate(
        kAdmins, limits, [this](const std::string& line) { lines.push_back(line); }, [this] { return now; });
  }
  std::vector<std::string> lines;
  std::chrono::steady_clock::time_point now{std::chrono::hours(1)};
};

TEST_F(ConnectionGateTest, RootAndTheAdministratorsGroupAreServedAndEveryoneElseIsRefusedWithAReason) {
  auto g = gate();
  EXPECT_TRUE(g.admit({0, 0, {}}));
  EXPECT_TRUE(g.admit({1000, 1000, {4, kAdmins}}));
  EXPECT_TRUE(g.admit({1001, kAdmins, {}}));
  EXPECT_FALSE(g.admit({1002, 1002, {4, 24}}));
  EXPECT_EQ(lines, std::vector<std::string>{"Refused a connection: user 1002 is not an administrator"});
  // Without an administrators' group, only root.
  ConnectionGate rootOnly(std::nullopt, {}, {});
  EXPECT_FALSE(rootOnly.admit({1000, 1000, {kAdmins}}));
  EXPECT_TRUE(rootOnly.admit({0, 0, {}}));
}

TEST_F(ConnectionGateTest, OneUserCannotTakeEveryPlaceButRootAlwaysFindsOneWithinTheTotal) {
  auto g = gate({.total = 6, .perUser = 2, .logLines = 100});
  const PeerCredentials admin{1000, kAdmins, {}};
  EXPECT_TRUE(g.admit(admin));
  EXPECT_TRUE(g.admit(admin));
  EXPECT_FALSE(g.admit(admin));
  EXPECT_EQ(lines.back(), "Refused a connection: too many connections from user 1000");
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(g.admit({0, 0, {}}));
  EXPECT_FALSE(g.admit({0, 0, {}}));
  g.release(1000);
  EXPECT_TRUE(g.admit(admin));
  g.release(0);
  EXPECT_TRUE(g.admit({0, 0, {}}));
}

TEST_F(ConnectionGateTest, RefusalsAreLoggedAFewAMinuteAndTheRestCounted) {
  auto g = gate({.total = 64, .perUser = 8, .logLines = 3});
  for (int i = 0; i < 1000; ++i) EXPECT_FALSE(g.admit({1002, 1002, {}}));
  EXPECT_EQ(lines.size(), 3u);
  now += 61s;
  EXPECT_FALSE(g.admit({1002, 1002, {}}));
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_EQ(lines[3], "997 more refusals were not logged");
}

}  // namespace
}  // namespace tidyloom
