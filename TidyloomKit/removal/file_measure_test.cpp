// FileMeasure on real trees: allocated sizes, hard links once, links and other devices not followed.
#include "removal/file_measure.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "testing/temp_tree.h"
#include "testing/test_fixtures.h"

namespace tidyloom {
namespace {

using testing::TempTree;

std::uint64_t allocated(const std::filesystem::path& path) {
  struct stat info {};
  EXPECT_EQ(::lstat(path.c_str(), &info), 0);
  return static_cast<std::uint64_t>(info.st_blocks) * 512u;
}

TEST(FileMeasureTest, ARegularFileCountsItsAllocatedBytes) {
  TempTree tree;
  const auto file = tree.file("a.bin", 100000);
  EXPECT_EQ(FileMeasure::byteSize(file), allocated(file));
  EXPECT_GE(FileMeasure::byteSize(file), 100000u);
}

TEST(FileMeasureTest, ASparseFileCountsOnlyWhatIsAllocated) {
  TempTree tree;
  const auto path = tree.path("sparse.img");
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(::ftruncate(fd, 1 << 30), 0);
  ::close(fd);
  EXPECT_LT(FileMeasure::byteSize(path), 1u << 20);
}

TEST(FileMeasureTest, AFolderCountsHardLinkedFilesOnceAndCreditsTheTally) {
  TempTree tree;
  const auto big = tree.file("dir/big.bin", 200000);
  tree.hardlink("dir/sub/same.bin", "dir/big.bin");
  const auto small = tree.file("dir/sub/small.txt", 10);
  auto tally = std::make_shared<ScanTally>();
  EXPECT_EQ(FileMeasure::byteSize(tree.path("dir"), tally), allocated(big) + allocated(small));
  EXPECT_EQ(tally->files(), 2u);
}

TEST(FileMeasureTest, SymbolicLinksAreNeverFollowedAndCountNothing) {
  TempTree tree;
  const auto outside = tree.file("outside/huge.bin", 500000);
  tree.symlink("dir/link-to-file", outside);
  tree.symlink("dir/link-to-dir", tree.path("outside"));
  tree.file("dir/one.txt", 1);
  EXPECT_EQ(FileMeasure::byteSize(tree.path("dir")), allocated(tree.path("dir/one.txt")));
  EXPECT_EQ(FileMeasure::byteSize(tree.path("dir/link-to-file")), 0u);
}

TEST(FileMeasureTest, MissingPathsAndUnreadableFoldersDoNotThrow) {
  TempTree tree;
  EXPECT_EQ(FileMeasure::byteSize(tree.path("nothing")), 0u);
  tree.file("dir/locked/secret.bin", 50000);
  const auto visible = tree.file("dir/visible.bin", 5000);
  tree.mode("dir/locked", 0);
  const auto expected = allocated(visible);
  EXPECT_TRUE(testing::asTreeOwner(tree, [&] { return FileMeasure::byteSize(tree.path("dir")) == expected; }));
}

}  // namespace
}  // namespace tidyloom
