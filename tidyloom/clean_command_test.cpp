// End-to-end tests of `tidyloom clean` on fixture trees with the built program.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "testing/temp_tree.h"

#include <filesystem>

namespace tidyloom {
namespace {

using testing::builtProgram;
using testing::runProgram;

class CleanCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    tree.file("Library/Caches/com.example.app/blob", 20000);
    tree.file("Library/Caches/Homebrew/downloads/pkg.tar.gz", 30000);
    tree.file("Library/Logs/app.log", 5000);
    tree.file(".npm/_cacache/index-v5/a", 9000);
    tree.file("Library/Developer/Xcode/DerivedData/App-x/Build/o", 12000);
    tree.file("Library/Application Support/Code/User/settings.json", 100);
    tree.file("Library/Application Support/Code/Cache/data_0", 8000);
    tree.file("Documents/thesis.tex", 100);
  }
  testing::CommandResult clean(std::vector<std::string> arguments, const std::string& input = {}) const {
    arguments.insert(arguments.begin(), {"--fixture", tree.root().string(), "--lang", "zh-Hans", "clean"});
    return runProgram(builtProgram("tidyloom"), arguments, input);
  }
  nlohmann::json preview(std::vector<std::string> arguments = {}) const {
    arguments.insert(arguments.end(), {"--dry-run", "--json"});
    const auto result = clean(arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    return nlohmann::json::parse(result.out);
  }
  static std::vector<std::string> paths(const nlohmann::json& report) {
    std::vector<std::string> out;
    for (const auto& candidate : report["candidates"]) out.push_back(candidate["path"]);
    return out;
  }
  std::string p(const std::string& relative) const { return tree.path(relative).string(); }
  bool has(const std::vector<std::string>& list, const std::string& relative) const {
    return std::find(list.begin(), list.end(), p(relative)) != list.end();
  }

  testing::TempTree tree;
};

TEST_F(CleanCommandTest, DryRunListsSectionsWithSizesAndRemovesNothing) {
  const auto result = clean({"--dry-run"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("用户缓存"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("开发者缓存"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find(p("Library/Caches/com.example.app")), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("可清理："), std::string::npos) << result.out;
  EXPECT_TRUE(std::filesystem::exists(p("Library/Caches/com.example.app/blob")));
}

TEST_F(CleanCommandTest, AFixtureReachedThroughALinkIsCleanedLikeTheFolderItself) {
  testing::TempTree other;
  other.symlink("fixture", tree.root());
  const auto result = runProgram(builtProgram("tidyloom"), {"--fixture", other.path("fixture").string(), "--json",
                                                            "clean", "--yes", "--no-review"});
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  const auto report = nlohmann::json::parse(result.out);
  EXPECT_TRUE(report["failed"].empty()) << result.out;
  EXPECT_FALSE(report["removed"].empty());
  EXPECT_FALSE(std::filesystem::exists(p("Library/Caches/com.example.app")));
  EXPECT_TRUE(std::filesystem::exists(p("Documents/thesis.tex")));
}

TEST_F(CleanCommandTest, JsonDryRunIsAPreviewReportOfRealCachesOnly) {
  const auto report = preview();
  EXPECT_EQ(report["feature"], "clean");
  EXPECT_EQ(report["interrupted"], false);
  const auto found = paths(report);
  EXPECT_TRUE(has(found, "Library/Caches/com.example.app"));
  EXPECT_TRUE(has(found, "Library/Logs/app.log"));
  EXPECT_TRUE(std::any_of(found.begin(), found.end(),
                          [&](const std::string& path) { return path.starts_with(p(".npm/_cacache")); }));
  EXPECT_TRUE(has(found, "Library/Application Support/Code/Cache"));
  for (const auto& path : found) {
    EXPECT_FALSE(path.starts_with(p("Documents"))) << path;
    EXPECT_FALSE(path.starts_with(p("Library/Application Support/Code/User"))) << path;
  }
  for (const auto& candidate : report["candidates"]) EXPECT_GT(candidate["byteSize"].get<std::uint64_t>(), 0u);
}

TEST_F(CleanCommandTest, SurfacesAndSmartNarrowThePreview) {
  const auto logs = paths(preview({"--surface", "logs"}));
  EXPECT_TRUE(has(logs, "Library/Logs/app.log"));
  EXPECT_FALSE(has(logs, "Library/Caches/com.example.app"));
  const auto smart = paths(preview({"--smart"}));
  EXPECT_TRUE(has(smart, "Library/Caches/com.example.app"));
  EXPECT_FALSE(
      std::any_of(smart.begin(), smart.end(), [&](const std::string& path) { return path.starts_with(p(".npm")); }));
  const auto bad = clean({"--surface", "everything", "--dry-run"});
  EXPECT_EQ(bad.status, 2);
  EXPECT_NE(bad.err.find("未知的扫描范围：everything"), std::string::npos) << bad.err;
}

TEST_F(CleanCommandTest, AnsweringNoRemovesNothing) {
  const auto result = clean({}, "n\n");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.err.find("永久删除"), std::string::npos) << result.err;
  EXPECT_TRUE(std::filesystem::exists(p("Library/Logs/app.log")));
}

TEST_F(CleanCommandTest, YesRemovesEveryCandidateAndTheRunIsRecorded) {
  const auto expected = paths(preview());
  const auto result = clean({"--yes", "--json"});
  ASSERT_EQ(result.status, 0) << result.err;
  const auto report = nlohmann::json::parse(result.out);
  EXPECT_EQ(report["removed"].size(), expected.size());
  EXPECT_GT(report["freedBytes"].get<std::uint64_t>(), 0u);
  for (const auto& path : expected) EXPECT_FALSE(std::filesystem::exists(path)) << path;
  EXPECT_TRUE(std::filesystem::exists(p("Documents/thesis.tex")));
  EXPECT_TRUE(std::filesystem::exists(p("Library/Application Support/Code/User/settings.json")));

  const auto history = runProgram(builtProgram("tidyloom"), {"--fixture", tree.root().string(), "--json", "history"});
  ASSERT_EQ(history.status, 0) << history.err;
  const auto entries = nlohmann::json::parse(history.out);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0]["feature"], "clean");
}

TEST_F(CleanCommandTest, PlanRunsWhatItKeepsAndRefusesWhatNothingOffersNow) {
  auto plan = preview();
  nlohmann::json kept = nlohmann::json::array();
  for (const auto& candidate : plan["candidates"]) {
    if (candidate["path"] != p("Library/Logs/app.log")) kept.push_back(candidate);
  }
  kept.push_back({{"path", p("Documents")}, {"section", "userCaches"}, {"byteSize", 1}, {"removable", true}});
  kept.push_back({{"path", p("Library/Application Support/Code/User")},
                  {"section", "userCaches"},
                  {"byteSize", 1},
                  {"removable", true}});
  plan["candidates"] = kept;
  tree.text("plan.json", plan.dump());

  const auto result = clean({"--plan", p("plan.json"), "--yes", "--json"});
  EXPECT_EQ(result.status, 1) << result.err;
  const auto report = nlohmann::json::parse(result.out);
  ASSERT_EQ(report["failed"].size(), 2u) << result.out;
  EXPECT_EQ(report["failed"][0]["path"], p("Documents"));
  EXPECT_TRUE(report["failed"][0]["reason"].get<std::string>().ends_with("请重新扫描"));
  EXPECT_EQ(report["failed"][1]["reason"],
            "配置目录只能清理可重建缓存，拒绝删除整个目录：" + p("Library/Application Support/Code/User"));
  EXPECT_TRUE(std::filesystem::exists(p("Documents/thesis.tex")));
  EXPECT_TRUE(std::filesystem::exists(p("Library/Application Support/Code/User/settings.json")));
  EXPECT_TRUE(std::filesystem::exists(p("Library/Logs/app.log")));  // dropped from the plan
  EXPECT_FALSE(std::filesystem::exists(p("Library/Caches/com.example.app")));
}

TEST_F(CleanCommandTest, TrashKeepsWhatWasRemovedInTheFixtureTrash) {
  const auto result = clean({"--surface", "logs", "--yes", "--trash"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_FALSE(std::filesystem::exists(p("Library/Logs/app.log")));
  EXPECT_TRUE(std::filesystem::exists(p(".Trash/app.log")));
}

TEST(CleanInterruptTest, CtrlCDuringTheRunPrintsThePartialReportAndRecordsIt) {
  testing::TempTree tree;
  for (int i = 0; i < 600; ++i) {
    for (int j = 0; j < 4; ++j) tree.file("Library/Caches/app" + std::to_string(i) + "/f" + std::to_string(j), 100);
  }
  const auto result = testing::runProgramInterrupted(
      builtProgram("tidyloom"), {"--fixture", tree.root().string(), "--json", "clean", "--yes", "--no-review"},
      [&] { return !std::filesystem::exists(tree.path("Library/Caches/app0")); });
  ASSERT_EQ(result.status, 130) << result.err;
  const auto report = nlohmann::json::parse(result.out);  // one document
  EXPECT_TRUE(report["interrupted"].get<bool>());
  const auto removed = report["removed"].get<std::vector<std::string>>();
  EXPECT_FALSE(removed.empty());
  EXPECT_TRUE(std::filesystem::exists(tree.path("Library/Caches/app599/f0")));
  const auto history = runProgram(builtProgram("tidyloom"), {"--fixture", tree.root().string(), "--json", "history"});
  const auto entries = nlohmann::json::parse(history.out);
  ASSERT_EQ(entries.size(), 1u) << history.out;
  EXPECT_EQ(entries[0]["itemCount"], removed.size() + report["failed"].size());
}

}  // namespace
}  // namespace tidyloom
