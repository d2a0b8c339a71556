// Tool caches cleaned through a real (stand-in) tool program.
#include <gtest/gtest.h>

#include <sys/stat.h>

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
  OwnerCacheCleaner cleaner() const {
    const std::string bin = tree.path("bin").string();
    return OwnerCacheCleaner(OwnerCacheCleaner::defaultTools(),
                             [bin](const std::string& name) -> std::optional<std::string> {
                               if (name == "go") return bin + "/go";
                               return std::nullopt;
                             });
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
