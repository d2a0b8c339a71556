// End-to-end tests of `tidyloom clean` on fixture trees with the built program.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <fstream>
#include <iostream>
#include <map>
#include <set>

#include "testing/private_mounts.h"
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

TEST_F(CleanCommandTest, APlanWhoseToolCacheChangedStillPrintsOneDocumentAndRemovesNothing) {
  auto plan = preview();
  plan["ownerCaches"] = {{{"task", "npm cache clean --force"}, {"paths", {p(".npm/_cacache")}}, {"byteSize", 9000}}};
  tree.text("plan.json", plan.dump());
  const auto result = clean({"--plan", p("plan.json"), "--yes", "--json"});
  EXPECT_EQ(result.status, 1) << result.err;
  const auto report = nlohmann::json::parse(result.out);  // one document, nothing else
  EXPECT_TRUE(report["removed"].empty());
  EXPECT_EQ(report["failed"].size(), plan["candidates"].size() + 1);
  EXPECT_TRUE(std::filesystem::exists(p("Library/Caches/com.example.app/blob")));
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

// Every file below `root` with its size: what a run may not have changed.
std::map<std::string, std::uintmax_t> contentsOf(const std::filesystem::path& root) {
  std::map<std::string, std::uintmax_t> out;
  std::error_code error;
  for (auto it = std::filesystem::recursive_directory_iterator(root, error);
       it != std::filesystem::recursive_directory_iterator(); it.increment(error)) {
    out[it->path().string()] = it->is_regular_file(error) ? it->file_size(error) : 0;
  }
  return out;
}

// The live machine, with a private, freshly filled /root and /var: a preview writes nothing, the
// run deletes exactly what the preview listed, and HOME or XDG variables pointing at another
// folder move nothing, neither what is scanned nor what the tools clean.
TEST(LiveCleanTest, ThePreviewWritesNothingAndTheRunDeletesExactlyWhatItListed) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root for a private mount namespace";
  testing::TempTree other;
  other.file(".npm/_cacache/index-v5/x", 5000);
  other.file(".cache/thumbnails/normal/t.png", 5000);
  const auto otherBefore = contentsOf(other.root());
  const std::vector<std::string> environment{"HOME=" + other.root().string(),
                                             "XDG_CACHE_HOME=" + other.path(".cache").string(),
                                             "XDG_DATA_HOME=" + other.path(".local/share").string()};
  const auto outcome = testing::inPrivateMounts({"/root", "/var"}, [&] {
    const auto fail = [](const std::string& what) {
      std::cerr << what << std::endl;
      return false;
    };
    const auto put = [](const std::string& path, const std::string& contents) {
      std::filesystem::create_directories(std::filesystem::path(path).parent_path());
      std::ofstream(path) << contents;
    };
    put("/root/.npm/_cacache/index-v5/aa", std::string(9000, 'n'));
    put("/root/.npm/_logs/2026-01-01T00_00_00_000Z-debug-0.log", "old log");
    put("/root/.cache/thumbnails/normal/a.png", std::string(6000, 't'));
    put("/root/.cache/pip/http/b", std::string(7000, 'p'));
    put("/root/.local/share/Trash/files/old.txt", "trashed");
    put("/root/.local/share/Trash/info/old.txt.trashinfo",
        "[Trash Info]\nPath=/root/old.txt\nDeletionDate=2026-01-01T00:00:00\n");
    put("/root/Documents/thesis.tex", "keep me");
    const testing::OpenFileHolder live("/root/.cache/pip/http/b");
    const auto before = contentsOf("/root");

    const auto preview = testing::runProgram(testing::builtProgram("tidyloom"),
                                             {"--json", "clean", "--dry-run", "--no-review"}, {}, 300, environment);
    if (preview.status != 0) return fail("preview: " + preview.err);
    if (contentsOf("/root") != before) return fail("the preview changed /root");
    const auto report = nlohmann::json::parse(preview.out);
    std::set<std::string> listed;
    for (const auto& candidate : report["candidates"]) listed.insert(candidate["path"].get<std::string>());
    for (const auto& path : listed) {
      if (!path.starts_with("/root/")) return fail("listed outside the real home: " + path);
      if (path.starts_with("/root/.cache/pip")) return fail("listed a file a program holds open: " + path);
    }
    if (!listed.contains("/root/.cache/thumbnails")) return fail("thumbnails not listed:\n" + preview.out);

    const auto run = testing::runProgram(testing::builtProgram("tidyloom"), {"--json", "clean", "--yes", "--no-review"},
                                         {}, 300, environment);
    const auto result = nlohmann::json::parse(run.out, nullptr, false);
    if (result.is_discarded()) return fail("run: " + run.out + run.err);
    const auto removed = result["removed"].get<std::set<std::string>>();
    if (removed != listed) return fail("removed other than listed:\n" + run.out + "\nlisted:\n" + preview.out);
    if (!std::filesystem::exists("/root/Documents/thesis.tex")) return fail("a document went");
    if (!std::filesystem::exists("/root/.cache/pip/http/b")) return fail("a file held open went");
    for (const auto& plan : report["ownerCaches"]) {
      for (const auto& cache : plan["paths"]) {
        if (!cache.get<std::string>().starts_with("/root/")) return fail("a tool cache outside the real home");
      }
    }
    return true;
  });
  if (!outcome) GTEST_SKIP() << "no private mount namespace here";
  EXPECT_TRUE(*outcome);
  EXPECT_EQ(contentsOf(other.root()), otherBefore);
}

}  // namespace
}  // namespace tidyloom
