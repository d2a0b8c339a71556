// Tests of the bulk directory reader on real trees.
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <map>

#include "platform/bulk_reader.h"
#include "testing/temp_tree.h"

namespace tidyloom::platform {
namespace {

using tidyloom::testing::TempTree;

TEST(BulkReaderTest, ReadsKindsAndSizesWithoutFollowingLinks) {
  TempTree tree;
  tree.file("d/data.bin", 10000);
  tree.dir("d/sub");
  tree.symlink("d/link", tree.path("d/data.bin"));
  // A sparse file: a large logical length with almost nothing allocated.
  const auto sparse = tree.path("d/sparse.img");
  const int fd = ::open(sparse.c_str(), O_CREAT | O_WRONLY, 0644);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(::ftruncate(fd, 50'000'000), 0);
  ::close(fd);

  DirectoryReader reader(tree.path("d").string());
  ASSERT_TRUE(reader.isOpen());
  std::map<std::string, BulkEntry> seen;
  ASSERT_TRUE(reader.read({.times = true, .identity = true}, [&](const BulkEntry& e) {
    auto copy = e;
    copy.name = {};
    seen[std::string(e.name)] = copy;
  }));
  ASSERT_EQ(seen.size(), 4u);
  EXPECT_EQ(seen["data.bin"].kind, EntryKind::regular);
  EXPECT_EQ(seen["data.bin"].logicalBytes, 10000u);
  EXPECT_GE(seen["data.bin"].allocatedBytes, 10000u);
  EXPECT_EQ(countedBytes(seen["data.bin"]), 10000u);
  EXPECT_GT(seen["data.bin"].modificationSeconds, 0);
  EXPECT_NE(seen["data.bin"].inode, 0u);
  EXPECT_EQ(seen["data.bin"].device, reader.device());
  EXPECT_EQ(seen["sub"].kind, EntryKind::directory);
  EXPECT_EQ(seen["link"].kind, EntryKind::symlink);
  EXPECT_EQ(seen["sparse.img"].logicalBytes, 50'000'000u);
  EXPECT_LT(countedBytes(seen["sparse.img"]), 1'000'000u);
}

TEST(BulkReaderTest, RefusesToOpenASymbolicLinkAndAllowsNestedReads) {
  TempTree tree;
  for (int i = 0; i < 300; ++i) tree.file("outer/inner" + std::to_string(i % 3) + "/f" + std::to_string(i), 1);
  tree.symlink("alias", tree.path("outer"));
  EXPECT_FALSE(DirectoryReader(tree.path("alias").string()).isOpen());

  DirectoryReader outer(tree.path("outer").string());
  size_t files = 0;
  ASSERT_TRUE(outer.read({}, [&](const BulkEntry& e) {
    DirectoryReader inner(outer, e.name);
    ASSERT_TRUE(inner.isOpen());
    EXPECT_FALSE(inner.isMountRoot());
    inner.read({}, [&](const BulkEntry& f) { files += f.kind == EntryKind::regular ? 1 : 0; });
  }));
  EXPECT_EQ(files, 300u);
}

}  // namespace
}  // namespace tidyloom::platform
