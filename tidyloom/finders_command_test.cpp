// `tidyloom large` and `tidyloom dupes` end to end on fixture trees.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "testing/temp_tree.h"

namespace tidyloom::cli {
namespace {

using testing::builtProgram;
using testing::runProgram;
using testing::TempTree;

testing::CommandResult tidyloom(const TempTree& tree, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"--fixture", tree.root().string(), "--lang", "en", "--no-progress"});
  return runProgram(builtProgram("tidyloom"), arguments);
}

TEST(FindersCommandTest, LargeListsFilesAboveTheMinimumWithTheirBandsButNeverTheHomeLibrary) {
  TempTree tree;
  tree.file("Movies/trip.mp4", 3'000'000);
  tree.file("Projects/old.tar", 2'000'000);
  tree.age("Projects/old.tar", 400);
  tree.file("Projects/notes.txt", 10);
  tree.file("Library/Caches/blob", 5'000'000);
  const auto run = tidyloom(tree, {"--json", "large", "--min", "1M"});
  ASSERT_EQ(run.status, 0) << run.err;
  const auto report = nlohmann::json::parse(run.out);
  EXPECT_TRUE(report["completed"]);
  ASSERT_EQ(report["items"].size(), 2u);
  const auto& first = report["items"][0];
  EXPECT_EQ(first["name"], "trip.mp4");
  EXPECT_EQ(first["kind"], "movie");
  EXPECT_EQ(first["sizeBand"], "large");
  EXPECT_EQ(first["ageBand"], "recent");
  EXPECT_EQ(report["items"][1]["ageBand"], "overYear");
  EXPECT_EQ(report["items"][1]["kind"], "archive");
}

TEST(FindersCommandTest, LargeGroupsTheListForPeopleBySizeAgeAndKind) {
  TempTree tree;
  tree.file("a/clip.mov", 2'000'000);
  tree.file("b/disk.iso", 3'000'000);
  const auto run = tidyloom(tree, {"large", "--min", "1M"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("Large: 2 files, 5.0 MB"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("By kind: Archives 1 (3.0 MB) · Movies 1 (2.0 MB)"), std::string::npos) << run.out;
  EXPECT_NE(run.err.find("tidyloom remove"), std::string::npos);
}

TEST(FindersCommandTest, DupesMarksTheCopyToKeepAndTheSpaceToGainButNotHardLinks) {
  TempTree tree;
  tree.file("photos/img.raw", 2'000'000, 'p');
  tree.file("backup/2024/img.raw", 2'000'000, 'p');
  tree.file("linked/one.bin", 2'000'000, 'l');
  tree.hardlink("linked/two.bin", "linked/one.bin");
  tree.file("different.raw", 2'000'000, 'q');
  tree.age("backup/2024/img.raw", 30);
  tree.age("photos/img.raw", 1);
  const auto run = tidyloom(tree, {"--json", "dupes"});
  ASSERT_EQ(run.status, 0) << run.err;
  const auto report = nlohmann::json::parse(run.out);
  ASSERT_EQ(report["groups"].size(), 1u);
  const auto& group = report["groups"][0];
  EXPECT_EQ(group["keeper"], tree.path("photos/img.raw").string());
  EXPECT_EQ(group["wastedBytes"], 2'000'000);
  EXPECT_EQ(group["files"].size(), 2u);

  const auto human = tidyloom(tree, {"dupes"});
  EXPECT_NE(human.out.find("keep  " + tree.path("photos/img.raw").string()), std::string::npos) << human.out;
  EXPECT_NE(human.out.find("copy  " + tree.path("backup/2024/img.raw").string()), std::string::npos);
}

TEST(FindersCommandTest, BadInputIsAUsageErrorWithAClearMessage) {
  TempTree tree;
  tree.file("x", 10);
  const auto size = tidyloom(tree, {"dupes", "--min", "lots"});
  EXPECT_EQ(size.status, 2);
  EXPECT_NE(size.err.find("Unrecognised size: lots"), std::string::npos) << size.err;
  const auto missing = tidyloom(tree, {"large", tree.path("nowhere").string()});
  EXPECT_EQ(missing.status, 2);
  EXPECT_NE(missing.err.find("Not a folder"), std::string::npos);
  EXPECT_EQ(tidyloom(tree, {"large", tree.path("x").string()}).status, 2);
  EXPECT_EQ(tidyloom(tree, {"large", "/usr"}).status, 2);  // outside the fixture
  EXPECT_EQ(tidyloom(tree, {"large", "--threads", "-1"}).status, 2);
}

}  // namespace
}  // namespace tidyloom::cli
