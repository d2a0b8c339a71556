// The duplicate finder on real trees: the three narrowing steps, hard links, keeping order, stop.
#include <fcntl.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <fstream>

#include "analysis/duplicate_file_scanner.h"
#include "analysis/file_digest.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using testing::TempTree;
using namespace std::chrono;

std::string block(size_t size, char fill, size_t changeAt = std::string::npos) {
  std::string data(size, fill);
  if (changeAt < size) data[changeAt] = '!';
  return data;
}

// Gives files exactly the same access and modification time, so only depth and path rank them.
void sameTime(const TempTree& tree, std::initializer_list<const char*> paths, time_t when = 1'700'000'000) {
  const timespec times[2] = {{when, 0}, {when, 0}};
  for (const char* path : paths) ::utimensat(AT_FDCWD, tree.path(path).c_str(), times, AT_SYMLINK_NOFOLLOW);
}

DuplicateScanResult scanTree(const TempTree& tree, std::uint64_t minimum = 0) {
  const DuplicateFileScanner scanner{.home = tree.root(), .minimumBytes = minimum, .threads = 2};
  return scanner.scan(tree.root());
}

std::vector<std::vector<std::string>> names(const DuplicateScanResult& result, const TempTree& tree) {
  std::vector<std::vector<std::string>> groups;
  for (const auto& group : result.groups) {
    auto& paths = groups.emplace_back();
    for (const auto& file : group.files) paths.push_back(file.path.substr(tree.root().string().size() + 1));
  }
  return groups;
}

TEST(DuplicateFileScannerTest, TwoSmallIdenticalFilesFormOneGroupOnlyWhenTheyReachTheMinimum) {
  TempTree tree;
  tree.text("a/ten.txt", "0123456789");
  tree.text("b/ten.txt", "0123456789");
  tree.text("c/other.txt", "abcdefghij");
  sameTime(tree, {"a/ten.txt", "b/ten.txt"});
  const auto result = scanTree(tree, 0);
  EXPECT_TRUE(result.completed);
  ASSERT_EQ(names(result, tree), (std::vector<std::vector<std::string>>{{"a/ten.txt", "b/ten.txt"}}));
  const auto& group = result.groups[0];
  EXPECT_EQ(group.id, "10-" + sha256Hex("0123456789"));
  EXPECT_EQ(group.name, "ten.txt");
  EXPECT_EQ(group.wastedBytes(), 10u);
  EXPECT_EQ(group.keeper()->path, tree.path("a/ten.txt").string());
  EXPECT_TRUE(scanTree(tree, 11).groups.empty());
}

TEST(DuplicateFileScannerTest, HardLinksToOneFileAreNotDuplicates) {
  TempTree tree;
  tree.text("one", block(5000, 'h'));
  tree.hardlink("two", "one");
  tree.hardlink("sub/three", "one");
  EXPECT_TRUE(scanTree(tree).groups.empty());
  tree.text("copy", block(5000, 'h'));
  const auto result = scanTree(tree);
  ASSERT_EQ(result.groups.size(), 1u);
  EXPECT_EQ(result.groups[0].files.size(), 2u);
}

TEST(DuplicateFileScannerTest, FilesThatDifferInTheHeadOrOnlyAfterItAreToldApart) {
  TempTree tree;
  const size_t size = 200'000;
  tree.text("same1.bin", block(size, 'z'));
  tree.text("same2.bin", block(size, 'z'));
  tree.text("late.bin", block(size, 'z', 150'000));  // differs only after the first 64 KiB
  tree.text("early.bin", block(size, 'z', 10));
  sameTime(tree, {"same1.bin", "same2.bin"});
  const auto result = scanTree(tree);
  ASSERT_EQ(names(result, tree), (std::vector<std::vector<std::string>>{{"same1.bin", "same2.bin"}}));
  const std::string data = block(size, 'z');
  EXPECT_EQ(result.groups[0].id, std::to_string(size) + "-" + sha256Hex(std::string_view(data).substr(0, 65536)) + "-" +
                                     sha256Hex(std::string_view(data).substr(65536)));
}

TEST(DuplicateFileScannerTest, GroupsAreOrderedByWastedBytesThenName) {
  TempTree tree;
  for (const char* path : {"x/c.iso", "y/c.iso", "z/c.iso"}) tree.text(path, block(3000, 'c'));
  for (const char* path : {"x/b.iso", "y/b.iso"}) tree.text(path, block(4500, 'b'));
  for (const char* path : {"x/a.iso", "y/a.iso"}) tree.text(path, block(4500, 'a'));
  const auto result = scanTree(tree);
  ASSERT_EQ(result.groups.size(), 3u);
  EXPECT_EQ(result.groups[0].name, "c.iso");  // 6000 wasted before 4500
  EXPECT_EQ(result.groups[0].wastedBytes(), 6000u);
  EXPECT_EQ(result.groups[1].name, "a.iso");
  EXPECT_EQ(result.groups[2].name, "b.iso");
}

TEST(DuplicateFileScannerTest, KeepsTheMostRecentlyUsedThenTheShallowestThenTheFirstPath) {
  TempTree tree;
  tree.text("a/b/x.dmg", block(3000, 'd'));
  tree.text("a/x.dmg", block(3000, 'd'));
  tree.text("a/c/x.dmg", block(3000, 'd'));
  tree.text("a/b/y.dmg", block(3000, 'd'));
  sameTime(tree, {"a/b/x.dmg", "a/x.dmg", "a/c/x.dmg"});
  sameTime(tree, {"a/b/y.dmg"}, 1'600'000'000);
  const auto result = scanTree(tree);
  ASSERT_EQ(names(result, tree),
            (std::vector<std::vector<std::string>>{{"a/x.dmg", "a/b/x.dmg", "a/c/x.dmg", "a/b/y.dmg"}}));
  EXPECT_EQ(result.groups[0].name, "x.dmg");
  tree.age("a/b/y.dmg", 1);
  EXPECT_EQ(scanTree(tree).groups[0].keeper()->path, tree.path("a/b/y.dmg").string());
}

TEST(DuplicateFileScannerTest, StopDuringComparisonGivesAnEmptyIncompleteResult) {
  TempTree tree;
  tree.text("a.bin", block(300'000, 's'));
  tree.text("b.bin", block(300'000, 's'));
  const DuplicateFileScanner scanner{.home = tree.root(), .minimumBytes = 0, .threads = 2};
  // One folder gives one walk report; the second question comes with the first read.
  int questions = 0;
  const auto result = scanner.scan(tree.root(), {}, [&] { return ++questions >= 2; });
  EXPECT_EQ(questions, 2);
  EXPECT_FALSE(result.completed);
  EXPECT_TRUE(result.groups.empty());
}

TEST(DuplicateFileScannerTest, ComparisonReportsProgressCappedAtTheBytesToRead) {
  TempTree tree;
  tree.text("a.bin", block(100'000, 'p'));
  tree.text("b.bin", block(100'000, 'p'));
  tree.text("lonely.bin", block(7, 'p'));
  LargeFileScanner finder{.home = tree.root(), .minimumBytes = 0};
  std::vector<DuplicateScanProgress> reports;
  const auto groups =
      DuplicateFileScanner::groups(finder.scan(tree.root()).items, 1, [&](const auto& p) { reports.push_back(p); });
  ASSERT_TRUE(groups);
  ASSERT_FALSE(reports.empty());  // the first read always reports
  EXPECT_EQ(reports[0].phase, DuplicateScanPhase::comparing);
  EXPECT_EQ(reports[0].totalBytes, 200'000u);
  for (const auto& report : reports) EXPECT_LE(report.comparedBytes, report.totalBytes);
}

TEST(DuplicateFileScannerTest, FileChangedOrGoneSinceTheWalkDropsOut) {
  TempTree tree;
  for (const char* path : {"a", "b", "c", "d"}) tree.text(path, block(4000, 'q'));
  const LargeFileScanner finder{.home = tree.root(), .minimumBytes = 0};
  const auto items = finder.scan(tree.root()).items;
  std::ofstream(tree.path("c"), std::ios::app) << "grown";
  std::filesystem::remove(tree.path("d"));
  const auto groups = DuplicateFileScanner::groups(items, 2);
  ASSERT_TRUE(groups);
  ASSERT_EQ(groups->size(), 1u);
  EXPECT_EQ(groups->front().files.size(), 2u);
}

TEST(DuplicateGroupTest, RemovingPathsKeepsTheRestInKeepingOrder) {
  DuplicateGroup group{.id = "1", .size = 100, .files = {{.path = "/k"}, {.path = "/x"}, {.path = "/y"}}, .name = "k"};
  const auto rest = group.removing({"/x"});
  ASSERT_EQ(rest.files.size(), 2u);
  EXPECT_EQ(rest.files[1].path, "/y");
  EXPECT_EQ(rest.wastedBytes(), 100u);
  EXPECT_FALSE(group.removing({"/k", "/x", "/y"}).keeper());
  EXPECT_EQ(DuplicateGroup::displayName({{.path = "/a/p"}, {.path = "/b/q"}, {.path = "/c/q"}, {.path = "/d/p"}}), "p");
}

}  // namespace
}  // namespace tidyloom
