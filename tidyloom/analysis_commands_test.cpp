// End-to-end tests of `tidyloom analyze`, `overview` and `lens` on fixture trees.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "testing/temp_tree.h"

namespace tidyloom::cli {
namespace {

using testing::builtProgram;
using testing::runProgram;
using testing::TempTree;

class AnalysisCommandsTest : public ::testing::Test {
 protected:
  testing::CommandResult run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--fixture", tree.root().string(), "--lang", "en"});
    return runProgram(builtProgram("tidyloom"), arguments);
  }
  TempTree tree;
};

TEST_F(AnalysisCommandsTest, LensListsTheRootBiggestFirstWithItemCountsAndExclusions) {
  tree.file("Library/Caches/blob", 300000);
  tree.file("Library/Mail/box", 900000);
  tree.file("Movies/clip.mov", 100000);
  tree.file("file9", 4096);
  tree.file("file10", 4096);

  const auto text = run({"lens", "--protect", "--list", tree.path("Library").string()});
  ASSERT_EQ(text.status, 0) << text.err;
  EXPECT_NE(text.out.find("Caches/"), std::string::npos);
  EXPECT_NE(text.out.find("needs Full Disk Access, not measured"), std::string::npos);
  EXPECT_NE(text.out.find("█"), std::string::npos);

  const auto json = run({"--json", "lens", "--depth", "2", "--limit", "3"});
  ASSERT_EQ(json.status, 0) << json.err;
  const auto document = nlohmann::json::parse(json.out);
  EXPECT_EQ(document["index"]["rootPath"], tree.root().string());
  EXPECT_EQ(document["index"]["completed"], true);
  const auto& items = document["listing"]["items"];
  ASSERT_EQ(items.size(), 3u);
  EXPECT_EQ(items[0]["name"], "Library");
  EXPECT_EQ(items[0]["itemCount"], 2);
  EXPECT_EQ(items[2]["name"], "file9");
  EXPECT_EQ(document["listing"]["omittedCount"], 1);
}

TEST_F(AnalysisCommandsTest, LensRefusesBadInputWithAUsageError) {
  tree.file("a/b/c/d", 10);
  const auto deep = run({"lens", "--depth", "2", "--list", tree.path("a/b").string()});
  EXPECT_EQ(deep.status, 2);
  EXPECT_NE(deep.err.find("Cannot list"), std::string::npos);
  EXPECT_EQ(run({"lens", tree.path("a/b/c/d").string()}).status, 2);
  EXPECT_EQ(run({"lens", "--depth", "0"}).status, 2);
}

TEST_F(AnalysisCommandsTest, LensOfAFreshHomeListsOnlyWhatWasThere) {
  tree.file("a", 5000);
  const auto json = run({"--json", "lens", tree.root().string()});
  ASSERT_EQ(json.status, 0) << json.err;
  const auto document = nlohmann::json::parse(json.out);
  const auto& items = document["listing"]["items"];
  ASSERT_EQ(items.size(), 1u) << json.out;
  EXPECT_EQ(items[0]["name"], "a");
}

TEST_F(AnalysisCommandsTest, LensWalksTheFolderChosenLastTimeWhenNoneIsNamed) {
  tree.file("Projects/a/file", 5000);
  tree.file("other", 5000);
  ASSERT_EQ(run({"--json", "lens", tree.path("Projects").string()}).status, 0);
  const auto again = run({"lens"});
  ASSERT_EQ(again.status, 0) << again.err;
  EXPECT_NE(again.err.find("Walking the folder chosen last time"), std::string::npos);
  EXPECT_NE(again.out.find(tree.path("Projects").string() + ":"), std::string::npos);
}

TEST_F(AnalysisCommandsTest, AnalyzePrintsTheReportWithItsOwnKeys) {
  tree.file("Downloads/big.iso", 11'000'000);
  tree.file("Downloads/small.txt", 100);
  tree.file("Downloads/.DS_Store", 100);
  const auto result = run({"--json", "analyze", tree.path("Downloads").string()});
  ASSERT_EQ(result.status, 0) << result.err;
  const auto report = nlohmann::json::parse(result.out);
  EXPECT_EQ(report["scan_status"], "complete");
  EXPECT_EQ(report["total_files"], 2);
  ASSERT_EQ(report["large_files"].size(), 1u);
  EXPECT_EQ(report["large_files"][0]["is_dir"], false);
  EXPECT_EQ(report["entries"][0]["name"], "big.iso");

  const auto missing = run({"analyze", tree.path("nowhere").string()});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("Cannot read the folder"), std::string::npos);
}

TEST_F(AnalysisCommandsTest, OverviewStaysInsideTheFixture) {
  tree.file("Library/Caches/c", 5000);
  tree.file("Applications/App.app/x", 7000);
  const auto result = run({"--json", "overview", "--skip-protected"});
  ASSERT_EQ(result.status, 0) << result.err;
  const auto report = nlohmann::json::parse(result.out);
  ASSERT_EQ(report["entries"].size(), 2u);
  EXPECT_EQ(report["entries"][0]["name"], "User Applications");
  const auto full = nlohmann::json::parse(run({"--json", "overview"}).out);
  for (const auto& entry : full["entries"]) {
    EXPECT_TRUE(entry["path"].get<std::string>().starts_with(tree.root().string())) << entry["path"];
  }
}

// Ctrl-C during a long walk prints the partial index and exits 130. The machine's own "/" is the
// long walk; if it finished before the signal, there is nothing to check.
TEST(LensInterruptTest, CtrlCPrintsThePartialIndexMarkedIncomplete) {
  const std::string script =
      "\"$0\" --json --no-progress lens / --depth 1 --threads 1 & pid=$!; sleep 0.3; "
      "kill -INT $pid; wait $pid";
  // The live walk remembers its folder: keep that out of the real user's settings.
  TempTree settings;
  const auto result = runProgram("/bin/sh", {"-c", script, builtProgram("tidyloom").string()}, {}, 120,
                                 {"XDG_CONFIG_HOME=" + settings.root().string()});
  if (result.status == 0) GTEST_SKIP() << "the walk of / finished before the interrupt";
  ASSERT_EQ(result.status, 130) << result.err;
  const auto document = nlohmann::json::parse(result.out);
  EXPECT_EQ(document["index"]["completed"], false);
  EXPECT_NE(result.err.find("incomplete"), std::string::npos);
}

}  // namespace
}  // namespace tidyloom::cli
