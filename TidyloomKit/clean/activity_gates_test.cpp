// Application, developer-tool and cache-owner guards against a given process list.
#include <gtest/gtest.h>

#include "clean/activity_gates.h"
#include "l10n/l10n.h"

#include <unistd.h>

#include <algorithm>

namespace tidyloom {
namespace {

platform::RunningProcess process(std::string name, std::string executable = {}, std::vector<std::string> arguments = {},
                                 std::string bundle = {}) {
  platform::RunningProcess p;
  p.name = std::move(name);
  p.executable = std::move(executable);
  p.arguments = std::move(arguments);
  p.bundleIdentifier = std::move(bundle);
  return p;
}

ProcessListing listing(ProcessList processes) {
  return [processes] { return std::optional<ProcessList>(processes); };
}
ProcessListing brokenListing() {
  return [] { return std::optional<ProcessList>(); };
}

class ActivityGatesTest : public ::testing::Test {
 protected:
  void SetUp() override { L10n::setLanguage(AppLanguage::simplifiedChinese); }
  const std::filesystem::path home{"/h"};
  const std::vector<FamilyGates::Gate> productGates{
      {"chrome", {"Library/Application Support/Google/Chrome/", "Library/Caches/Google/Chrome"}},
      {"firefox", {".cache/mozilla/firefox/"}}};
};

TEST_F(ActivityGatesTest, FamiliesKeepTheRuleFileOrderAndNames) {
  EXPECT_EQ(ProductProcessActivity::families().size(), 25u);
  EXPECT_EQ(DeveloperCacheActivity::families().size(), 18u);
  EXPECT_EQ(ProductProcessActivity::rawValue(ProductProcessActivity::Family::mihomoParty), "mihomoParty");
  EXPECT_EQ(DeveloperCacheActivity::familyFromRaw("goModules"), DeveloperCacheActivity::Family::goModules);
  EXPECT_FALSE(ProductProcessActivity::familyFromRaw("netscape"));
}

TEST_F(ActivityGatesTest, GatePathsOwnTheirFoldersAndPrefixVariants) {
  const ProductProcessActivity activity(productGates, listing({}));
  EXPECT_EQ(activity.family("/h/Library/Application Support/Google/Chrome/Default/Cache", home), "chrome");
  EXPECT_EQ(activity.family("/h/Library/Application Support/Google/Chrome", home), "chrome");
  EXPECT_FALSE(activity.family("/h/Library/Application Support/Google/ChromeX", home));
  EXPECT_EQ(activity.family("/h/Library/Caches/Google/Chrome Canary", home), "chrome");  // no "/": plain prefix
  EXPECT_FALSE(activity.family("/h/Library/Caches/Other", home));
}

TEST_F(ActivityGatesTest, RunningFamilyBlocksAndAFailedProcessListFailsSafe) {
  const ProductProcessActivity idle(productGates, listing({process("bash")}));
  EXPECT_FALSE(idle.blockReason("/h/.cache/mozilla/firefox/p/cache2", home));

  const ProductProcessActivity linuxFirefox(productGates,
                                            listing({process("firefox-bin", "/usr/lib/firefox/firefox-bin")}));
  EXPECT_EQ(linuxFirefox.blockReason("/h/.cache/mozilla/firefox/p/cache2", home), "Firefox 正在运行，退出后再清理");
  EXPECT_EQ(linuxFirefox.states().at("chrome"), ActivityState::idle);

  const ProductProcessActivity macChrome(
      productGates,
      listing({process("Google Chrome", "/Applications/Google Chrome.app/Contents/MacOS/Google Chrome")}));
  EXPECT_EQ(macChrome.states().at("chrome"), ActivityState::active);

  const ProductProcessActivity unknown(productGates, brokenListing());
  EXPECT_EQ(unknown.blockReason("/h/.cache/mozilla/firefox/p/cache2", home), "无法确认 Firefox 是否正在运行，已保留");
}

TEST_F(ActivityGatesTest, DeveloperToolsAreRecognisedByTheirScriptOrClassArguments) {
  const std::vector<FamilyGates::Gate> gates{{"gradle", {".gradle/caches/"}}, {"frontendBuild", {".cache/vite/"}}};
  const DeveloperCacheActivity activity(
      gates, listing({process("java", "/usr/bin/java",
                              {"java", "-Xmx1g", "org.gradle.launcher.daemon.bootstrap.GradleDaemon"}),
                      process("node", "/usr/bin/node", {"node", "/p/node_modules/.bin/vite"})}));
  EXPECT_TRUE(activity.blockReason("/h/.gradle/caches/modules-2", home));
  EXPECT_TRUE(activity.blockReason("/h/.cache/vite/deps", home));
  EXPECT_FALSE(activity.blockReason("/h/.cache/other", home));
}

TEST_F(ActivityGatesTest, CacheOwnerIsTheFolderBelowTheCacheRootAndMatchesItsProgram) {
  const UserCacheOwnership ownership(
      home, listing({process("Spotify", "/Applications/Spotify.app/Contents/MacOS/Spotify", {}, "com.spotify.client"),
                     process("thunderbird")}));
  ASSERT_TRUE(ownership.owner("/h/Library/Caches/com.spotify.client/Data"));
  EXPECT_EQ(ownership.owner("/h/Library/Caches/com.spotify.client/Data")->name, "com.spotify.client");
  EXPECT_FALSE(ownership.owner("/h/Library/Caches"));
  EXPECT_FALSE(ownership.owner("/h/Documents/x"));
  EXPECT_TRUE(ownership.blockReason("/h/Library/Caches/com.spotify.client", home));
  EXPECT_TRUE(ownership.blockReason("/h/.cache/thunderbird/abc", home));
  EXPECT_FALSE(ownership.blockReason("/h/.cache/fontconfig", home));

  const UserCacheOwnership declared(home, listing({}), {"fontconfig"});
  EXPECT_EQ(declared.state({"FontConfig"}, ProcessList{}).activity, ActivityState::active);
  const UserCacheOwnership blind(home, brokenListing());
  EXPECT_EQ(blind.state({"x"}, std::nullopt).activity, ActivityState::unknown);
}

TEST_F(ActivityGatesTest, LiveProcessListSeesThisTest) {
  const auto processes = platform::runningProcesses();
  ASSERT_TRUE(processes);
  const bool sawSelf = std::any_of(processes->begin(), processes->end(),
                                   [](const auto& p) { return p.pid == static_cast<int>(::getpid()); });
  EXPECT_TRUE(sawSelf);
}

}  // namespace
}  // namespace tidyloom
