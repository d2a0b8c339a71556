// The large-file walk on real trees: what is listed, what is never entered, packages, stop, rules.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>

#include "analysis/large_file_rules.h"
#include "analysis/large_file_scanner.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using testing::TempTree;

std::vector<std::string> relativePaths(const LargeFileScanResult& result, const TempTree& tree) {
  std::vector<std::string> paths;
  for (const auto& item : result.items) paths.push_back(item.path.substr(tree.root().string().size() + 1));
  return paths;
}

LargeFileScanner scannerFor(const TempTree& tree, std::uint64_t minimum = 1000) {
  return {.home = tree.root(), .minimumBytes = minimum, .threads = 2};
}

TEST(LargeFileScannerTest, ListsFilesReachingTheMinimumLargestFirstThenByPath) {
  TempTree tree;
  tree.file("b/movie.mp4", 5000);
  tree.file("a/also.bin", 5000);
  tree.file("deep/er/still/archive.zip", 8000);
  tree.file("small.txt", 999);
  tree.file("exact.bin", 1000);
  tree.symlink("link-to-movie", tree.path("b/movie.mp4"));
  const auto result = scannerFor(tree).scan(tree.root());
  EXPECT_TRUE(result.completed);
  EXPECT_EQ(relativePaths(result, tree),
            (std::vector<std::string>{"deep/er/still/archive.zip", "a/also.bin", "b/movie.mp4", "exact.bin"}));
  EXPECT_EQ(result.items[0].kind, LargeFileKind::archive);
  EXPECT_EQ(result.items[0].fileSize, 8000u);
  EXPECT_FALSE(result.items[0].isPackage);
}

TEST(LargeFileScannerTest, SparseFileCountsByItsAllocationNotItsLength) {
  TempTree tree;
  const auto sparse = tree.path("sparse.img");
  const int fd = ::open(sparse.c_str(), O_CREAT | O_WRONLY, 0644);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(::ftruncate(fd, 10'000'000'000), 0);  // 10 GB long, nothing allocated
  ASSERT_EQ(::pwrite(fd, "x", 1, 0), 1);
  ::close(fd);
  const auto result = scannerFor(tree, 1'000'000).scan(tree.root());
  EXPECT_TRUE(result.items.empty());
}

TEST(LargeFileScannerTest, NeverEntersTrashVersionControlApplicationsOrTheHomeLibrary) {
  TempTree tree;
  tree.file(".git/objects/pack.pack", 5000);
  tree.file("src/.svn/big", 5000);
  tree.file(".Trash/old.iso", 5000);
  tree.file("Tool.app/Contents/MacOS/tool", 5000);
  tree.file("Library/Caches/huge.cache", 5000);
  tree.file("work/Library/kept.bin", 5000);  // only the home's own Library is left alone
  const auto result = scannerFor(tree).scan(tree.root());
  EXPECT_EQ(relativePaths(result, tree), (std::vector<std::string>{"work/Library/kept.bin"}));
}

TEST(LargeFileScannerTest, PrivacySkippingLeavesHomeDesktopDocumentsAndDownloads) {
  TempTree tree;
  tree.file("Desktop/a.bin", 5000);
  tree.file("Documents/b.bin", 5000);
  tree.file("Downloads/c.bin", 5000);
  tree.file("Movies/d.bin", 5000);
  auto scanner = scannerFor(tree);
  EXPECT_EQ(scanner.scan(tree.root()).items.size(), 4u);
  scanner.skipsPrivacyProtected = true;
  EXPECT_EQ(relativePaths(scanner.scan(tree.root()), tree), (std::vector<std::string>{"Movies/d.bin"}));
}

TEST(LargeFileScannerTest, PackageIsOneItemWhenPackagesAreListedAndInvisibleOtherwise) {
  TempTree tree;
  tree.file("Movie.fcpbundle/media/clip1.mov", 3000);
  tree.file("Movie.fcpbundle/media/clip2.mov", 3000);
  tree.file("Movie.fcpbundle/settings.plist", 100);
  auto scanner = scannerFor(tree, 5000);
  EXPECT_TRUE(scanner.scan(tree.root()).items.empty());
  scanner.listsPackages = true;
  const auto result = scanner.scan(tree.root());
  ASSERT_EQ(relativePaths(result, tree), (std::vector<std::string>{"Movie.fcpbundle"}));
  EXPECT_TRUE(result.items[0].isPackage);
  EXPECT_EQ(result.items[0].size, 6100u);
}

// Root reads every folder, so as root the check runs in a child that drops to the user nobody.
template <class Check>
int asUnprivilegedUser(Check check) {
  if (::geteuid() != 0) return check();
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(99);
    ::_exit(check());
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 98;
}

TEST(LargeFileScannerTest, UnreadableFolderIsPassedOverAndTheRestIsFound) {
  TempTree tree;
  tree.file("locked/secret.bin", 5000);
  tree.file("open/visible.bin", 5000);
  tree.mode("", 0755);
  tree.mode("locked", 0);
  const int outcome = asUnprivilegedUser([&] {
    const auto result = scannerFor(tree).scan(tree.root());
    return result.completed && relativePaths(result, tree) == std::vector<std::string>{"open/visible.bin"} ? 0 : 1;
  });
  EXPECT_EQ(outcome, 0);
}

TEST(LargeFileScannerTest, StopRequestEndsTheWalkIncompleteAndReportsProgressFirst) {
  TempTree tree;
  for (int i = 0; i < 50; ++i) tree.file("d" + std::to_string(i) + "/f.bin", 2000);
  std::atomic<int> reports = 0;
  const auto result = scannerFor(tree).scan(
      tree.root(), [&](const LargeFileScanProgress&) { ++reports; }, [] { return true; });
  EXPECT_FALSE(result.completed);
  EXPECT_GE(reports.load(), 1);
  EXPECT_LT(result.items.size(), 50u);
}

TEST(LargeFileScannerTest, TallyIsCreditedWithEveryFileSeen) {
  TempTree tree;
  tree.file("a/one", 10);
  tree.file("a/two", 5000);
  tree.file("b/three", 10);
  auto scanner = scannerFor(tree);
  scanner.tally = std::make_shared<ScanTally>();
  (void)scanner.scan(tree.root());
  EXPECT_EQ(scanner.tally->files(), 3u);
}

TEST(LargeFileScannerTest, StartupVolumeScansTheHomeAndOtherVolumesThemselves) {
  EXPECT_EQ(LargeFileScanner::scanRoot("/", "/Users/ann"), "/Users/ann");
  EXPECT_EQ(LargeFileScanner::scanRoot("/Volumes/Backup/", "/Users/ann"), "/Volumes/Backup/");
  EXPECT_EQ(LargeFileScanner::scanRoot("/Volumes/Backup/./x/..", "/Users/ann"), "/Volumes/Backup/");
}

struct RuleCase {
  const char* name;
  const char* parent;
  bool homeIsRoot;
  LargeFileDirectoryRule rule;
};

class LargeFileRulesTest : public ::testing::TestWithParam<RuleCase> {};

TEST_P(LargeFileRulesTest, FirstMatchingRuleDecides) {
  const auto& c = GetParam();
  const LargeFileRules rules{"/Users/ann", c.homeIsRoot ? "/Users/ann" : "/Volumes/Ext", true};
  EXPECT_EQ(rules.rule(c.name, c.parent), c.rule) << c.parent << "/" << c.name;
}

using R = LargeFileDirectoryRule;
INSTANTIATE_TEST_SUITE_P(
    Table, LargeFileRulesTest,
    ::testing::Values(
        RuleCase{".git", "/Users/ann/src", true, R::skip}, RuleCase{".Trashes", "/Volumes/Ext", false, R::skip},
        RuleCase{"Library", "/Users/ann", true, R::skip}, RuleCase{"Library", "/Users/ann/src", true, R::walk},
        RuleCase{"Downloads", "/Users/ann", true, R::skip}, RuleCase{"Downloads", "/Users/ann/x", true, R::walk},
        RuleCase{"System", "/Volumes/Ext", false, R::skip}, RuleCase{"System", "/Users/ann", true, R::walk},
        RuleCase{"Safari.APP", "/Users/ann/x", true, R::skip},
        RuleCase{"Photos Library.photoslibrary", "/Users/ann/Pictures", true, R::skip},
        RuleCase{"Talk.key", "/Users/ann/x", true, R::package},
        RuleCase{"Disk.sparsebundle", "/Volumes/Ext", false, R::package},
        RuleCase{"projects", "/Volumes/Ext", false, R::walk}));

}  // namespace
}  // namespace tidyloom
