// Tool caches cleaned through a real (stand-in) tool program.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <map>

#include "clean/owner_cache_cleaner.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using testing::TempTree;

class OwnerCacheCleanerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    tree.file("gocache/00/a", 8192);
    tree.file("gocache/01/b", 8192);
    // A stand-in "go" that answers where its cache is and empties it on "clean -cache".
    tree.text("bin/go", "#!/bin/sh\ncase \"$1\" in\n  env) echo \"" + tree.path("gocache").string() +
                            "\" ;;\n  clean) rm -rf \"" + tree.path("gocache").string() +
                            "\"/* ;;\n  *) exit 3 ;;\nesac\n");
    tree.mode("bin/go", 0755);
  }
  ToolPlaces places() const {
    auto places = ToolPlaces::forHome(tree.root());
    places.overrides.push_back("GOCACHE=" + tree.path("gocache").string());
    return places;
  }
  OwnerCacheCleaner cleaner(std::vector<std::string> installed = {"go"}) const {
    const std::string bin = tree.path("bin").string();
    return OwnerCacheCleaner(
        OwnerCacheCleaner::defaultTools(),
        [bin, installed](const std::string& name) -> std::optional<std::string> {
          if (std::find(installed.begin(), installed.end(), name) != installed.end()) return bin + "/" + name;
          return std::nullopt;
        },
        places());
  }
  TempTree tree;
};

TEST_F(OwnerCacheCleanerTest, InventoryHasOnePlanPerInstalledToolWithACache) {
  const auto plans = cleaner().inventory();
  ASSERT_EQ(plans.size(), 1u);
  EXPECT_EQ(plans[0].task, "go clean -cache");
  EXPECT_EQ(plans[0].paths, std::vector<std::string>{tree.path("gocache").string()});
  EXPECT_GE(plans[0].byteSize, 16384u);
  EXPECT_TRUE(OwnerCacheCleaner::none().inventory().empty());
}

TEST_F(OwnerCacheCleanerTest, CachesAreFoundFromTheToolsOwnSettingsWithoutRunningThem) {
  // Stand-ins that leave a mark whenever they are run: an inventory must run none of them.
  for (const char* name : {"npm", "pip3"}) {
    tree.text(std::string("bin/") + name, "#!/bin/sh\ntouch \"" + tree.path("ran").string() + "\"\n");
    tree.mode(std::string("bin/") + name, 0755);
  }
  tree.text(".npmrc", "; user settings\ncache = ${HOME}/npm-cache\n");
  tree.file("npm-cache/_cacache/index-v5/a", 4096);
  tree.text(".config/pip/pip.conf", "[install]\ncache-dir = /elsewhere\n[global]\ncache-dir=~/pip-cache\n");
  tree.file("pip-cache/http/b", 4096);
  const auto plans = cleaner({"go", "npm", "pip3"}).inventory();
  std::map<std::string, std::vector<std::string>> found;
  for (const auto& plan : plans) found[plan.task] = plan.paths;
  EXPECT_EQ(found["npm cache clean --force"], std::vector<std::string>{tree.path("npm-cache/_cacache").string()});
  EXPECT_EQ(found["pip cache purge"], std::vector<std::string>{tree.path("pip-cache").string()});
  EXPECT_FALSE(std::filesystem::exists(tree.path("ran")));
}

TEST_F(OwnerCacheCleanerTest, ToolsRunWithTheSameHomeAsTheRestOfTheRun) {
  tree.text("bin/go", "#!/bin/sh\necho \"$HOME $XDG_CACHE_HOME\" > \"" + tree.path("seen").string() + "\"\nrm -rf \"" +
                          tree.path("gocache").string() + "\"/*\n");
  tree.mode("bin/go", 0755);
  (void)cleaner().run(cleaner().inventory(), {});
  EXPECT_EQ(testing::readText(tree.path("seen")), tree.root().string() + " " + tree.path(".cache").string() + "\n");
}

TEST_F(OwnerCacheCleanerTest, RunAppliesTheToolAndCountsWhatTheCacheShrank) {
  const auto plans = cleaner().inventory();
  const auto report = cleaner().run(plans, {});
  EXPECT_EQ(report.taskOutcomes.at("go clean -cache"), TaskOutcome::applied);
  EXPECT_GE(report.freedBytes, 16384u);
  EXPECT_FALSE(std::filesystem::exists(tree.path("gocache/00/a")));
}

TEST_F(OwnerCacheCleanerTest, WhitelistedCacheIsSkippedAndMissingToolUnavailable) {
  const auto plans = cleaner().inventory();
  const auto skipped = cleaner().run(plans, {tree.path("gocache").string()});
  EXPECT_EQ(skipped.taskOutcomes.at("go clean -cache"), TaskOutcome::skipped);
  EXPECT_TRUE(std::filesystem::exists(tree.path("gocache/00/a")));

  const auto missing = cleaner().run({OwnerCachePlan{"pip cache purge", {"/nowhere"}, 1}}, {});
  EXPECT_EQ(missing.taskOutcomes.at("pip cache purge"), TaskOutcome::unavailable);
}

TEST_F(OwnerCacheCleanerTest, FailingToolIsReportedFailedWithANote) {
  tree.text("bin/go", "#!/bin/sh\n[ \"$1\" = env ] && { echo \"" + tree.path("gocache").string() +
                          "\"; exit 0; }\necho 'cache locked' >&2\nexit 1\n");
  tree.mode("bin/go", 0755);
  const auto report = cleaner().run(cleaner().inventory(), {});
  EXPECT_EQ(report.taskOutcomes.at("go clean -cache"), TaskOutcome::failed);
  ASSERT_EQ(report.notes.size(), 1u);
  EXPECT_NE(report.notes[0].find("cache locked"), std::string::npos);
}

}  // namespace
}  // namespace tidyloom
