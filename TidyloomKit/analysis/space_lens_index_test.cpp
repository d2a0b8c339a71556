// Tests of space-lens listings and the exclusion rules.
#include <gtest/gtest.h>

#include "analysis/space_lens_scanner.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using testing::TempTree;

struct CanListCase {
  std::string root;
  int depth;
  std::string path;
  bool expected;
};

class SpaceLensCanListTest : public ::testing::TestWithParam<CanListCase> {};

TEST_P(SpaceLensCanListTest, ListsOnlyFoldersWhoseChildrenHaveStatistics) {
  SpaceLensIndex index;
  index.rootPath = GetParam().root;
  index.depth = GetParam().depth;
  EXPECT_EQ(index.canList(GetParam().path), GetParam().expected) << GetParam().path;
}

INSTANTIATE_TEST_SUITE_P(Paths, SpaceLensCanListTest,
                         ::testing::Values(CanListCase{"/", 2, "/", true}, CanListCase{"/", 2, "/usr", true},
                                           CanListCase{"/", 2, "/usr/lib", false}, CanListCase{"/r", 2, "/r", true},
                                           CanListCase{"/r", 2, "/r/a", true}, CanListCase{"/r", 2, "/r/a/b", false},
                                           CanListCase{"/r", 2, "/rx", false}, CanListCase{"/r", 2, "/other", false},
                                           CanListCase{"/r", 0, "/r", false}));

struct ExclusionCase {
  std::string parent;
  std::string name;
  bool protect;
  std::optional<SpaceLensExclusion> expected;
};

class SpaceLensExclusionTest : public ::testing::TestWithParam<ExclusionCase> {};

TEST_P(SpaceLensExclusionTest, JudgesFoldersByNameAndPlace) {
  const auto& c = GetParam();
  EXPECT_EQ(SpaceLens::exclusion(c.parent, c.name, c.protect, "/home/ann"), c.expected) << c.parent << " " << c.name;
}

constexpr auto kCloud = SpaceLensExclusion::cloudOrMedia;
constexpr auto kFda = SpaceLensExclusion::needsFullDiskAccess;
INSTANTIATE_TEST_SUITE_P(
    Rules, SpaceLensExclusionTest,
    ::testing::Values(ExclusionCase{"/Users/ann/Library", "CloudStorage", false, kCloud},
                      ExclusionCase{"/Users/ann/Stuff", "CloudStorage", false, std::nullopt},
                      ExclusionCase{"/any/where", "com.apple.Photos", false, kCloud},
                      ExclusionCase{"/Users/ann/Pictures", "Photos Library.photoslibrary", false, kCloud},
                      ExclusionCase{"/x", "Old.PhotoLibrary", false, kCloud},
                      ExclusionCase{"/Users/ann/Music", "Music", false, kCloud},
                      ExclusionCase{"/Users/ann", "Music", false, std::nullopt},
                      ExclusionCase{"/Users/ann", "Documents", true, kFda},
                      ExclusionCase{"/Users/ann", "Documents", false, std::nullopt},
                      ExclusionCase{"/home/ann", "Desktop", true, kFda},
                      ExclusionCase{"/Users/ann/deeper", "Desktop", true, std::nullopt},
                      ExclusionCase{"/Users/ann/Library", "Mail", true, kFda},
                      ExclusionCase{"/home/ann/Library/Application Support", "com.apple.TCC", true, kFda},
                      ExclusionCase{"/opt/Library", "Mail", true, std::nullopt}));

TEST(SpaceLensSkipTest, SkipsSystemFoldersOnlyAtTheRootAndVirtualMachineStoresAnywhere) {
  EXPECT_TRUE(SpaceLens::isSkipped("/", "private"));
  EXPECT_FALSE(SpaceLens::isSkipped("/data", "private"));
  EXPECT_TRUE(SpaceLens::isSkipped("/data/vm", ".orbstack"));
  EXPECT_EQ(SpaceLens::childPath("/", "usr"), "/usr");
  EXPECT_EQ(SpaceLens::childPath("/usr", "lib"), "/usr/lib");
}

class SpaceLensListingTest : public ::testing::Test {
 protected:
  SpaceLensIndex scan(int depth, bool protect) {
    SpaceLensScanner scanner;
    scanner.depth = depth;
    scanner.skipsProtected = protect;
    scanner.home = tree.root().string();
    return scanner.scan(tree.root());
  }
  TempTree tree;
};

TEST_F(SpaceLensListingTest, ListsBiggestFirstWithEqualSizesInNumericNameOrder) {
  tree.file("file10", 4096);
  tree.file("file9", 4096);
  tree.file("big/inside.bin", 40960);
  tree.file("Photos Library.photoslibrary/db", 100000);
  tree.file("Library/Mail/box", 100000);
  tree.file("VirtualBox VMs/disk", 100000);
  tree.symlink("link", "file9");
  const auto index = scan(2, true);
  const auto listing = index.listing(tree.root().string(), 3);
  ASSERT_TRUE(listing.has_value());
  ASSERT_EQ(listing->items.size(), 3u);
  EXPECT_EQ(listing->items[0].name, "big");
  EXPECT_EQ(listing->items[0].itemCount, 1);
  EXPECT_EQ(listing->items[1].name, "file9");
  EXPECT_EQ(listing->items[2].name, "file10");
  EXPECT_FALSE(listing->items[2].isDir);
  EXPECT_EQ(listing->omittedCount, 3);  // Library, the media library and the link; the VM store is dropped
  EXPECT_EQ(listing->totalSize, index.totalSize);

  const auto all = index.listing(tree.root().string(), 100);
  const auto media = std::find_if(all->items.begin(), all->items.end(),
                                  [](const SpaceLensItem& i) { return i.name == "Photos Library.photoslibrary"; });
  ASSERT_NE(media, all->items.end());
  EXPECT_EQ(media->exclusion, SpaceLensExclusion::cloudOrMedia);
  EXPECT_EQ(media->size, 0u);
  EXPECT_FALSE(media->itemCount.has_value());
}

TEST_F(SpaceLensListingTest, ShowsProtectedMailAsNeedingFullDiskAccessOnlyWithProtection) {
  tree.file("Library/Mail/box", 100000);
  const auto library = tree.path("Library").string();
  const auto guarded = scan(2, true).listing(library, 10);
  ASSERT_TRUE(guarded && guarded->items.size() == 1);
  EXPECT_EQ(guarded->items[0].exclusion, SpaceLensExclusion::needsFullDiskAccess);
  EXPECT_EQ(guarded->items[0].size, 0u);
  const auto open = scan(2, false).listing(library, 10);
  ASSERT_TRUE(open && open->items.size() == 1);
  EXPECT_FALSE(open->items[0].exclusion.has_value());
  EXPECT_GT(open->items[0].size, 0u);
}

TEST_F(SpaceLensListingTest, RefusesFoldersAtTheDepthAndShowsUnindexedFoldersEmpty) {
  tree.file("a/b/c/file", 5000);
  const auto index = scan(2, false);
  EXPECT_TRUE(index.directories.contains(tree.path("a/b").string()));
  EXPECT_FALSE(index.canList(tree.path("a/b").string()));
  EXPECT_FALSE(index.listing(tree.path("a/b").string(), 10).has_value());
  const auto a = index.listing(tree.path("a").string(), 10);
  ASSERT_TRUE(a && a->items.size() == 1);
  EXPECT_GT(a->items[0].size, 0u);
  // A folder made after the walk was never indexed: shown as an empty folder.
  tree.dir("a/later");
  const auto again = index.listing(tree.path("a").string(), 10);
  ASSERT_TRUE(again && again->items.size() == 2);
  EXPECT_EQ(again->items[1].name, "later");
  EXPECT_EQ(again->items[1].itemCount, 0);
}

}  // namespace
}  // namespace tidyloom
