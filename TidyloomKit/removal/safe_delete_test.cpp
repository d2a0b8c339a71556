// SafeDelete: mounts are never entered, links never followed, and a swapped item is left alone.
#include "removal/safe_delete.h"

#include <gtest/gtest.h>

#include "testing/temp_tree.h"
#include "testing/test_fixtures.h"

namespace tidyloom {
namespace {

namespace fs = std::filesystem;
using testing::MountedTmpfs;
using testing::TempTree;

std::error_code removePath(const fs::path& path) {
  ItemIdentity identity;
  if (const auto error = identityOf(path, identity)) return error;
  OpenedItem item;
  if (const auto error = openItem(path, identity, item)) return error;
  return SafeDelete::removeAt(item.parent.get(), item.name, identity);
}

TEST(SafeDeleteTest, RemovesFilesFoldersAndLinksButNeverWhatLinksPointTo) {
  TempTree tree;
  tree.file("victim/a/b/c.bin", 1000);
  tree.file("keep/file.txt", 5);
  tree.symlink("victim/to-keep", tree.path("keep"));
  tree.symlink("victim/a/to-file", tree.path("keep/file.txt"));
  tree.hardlink("victim/a/hard", "keep/file.txt");
  EXPECT_FALSE(removePath(tree.path("victim")));
  EXPECT_FALSE(fs::exists(tree.path("victim")));
  EXPECT_EQ(fs::file_size(tree.path("keep/file.txt")), 5u);
}

TEST(SafeDeleteTest, AMountInsideTheTreeIsNeverEnteredAndTheRestIsRemoved) {
  TempTree tree;
  tree.file("victim/plain.txt", 10);
  MountedTmpfs mount(tree.path("victim/mnt"));
  if (!mount.mounted()) GTEST_SKIP() << "cannot mount a tmpfs here";
  tree.file("victim/mnt/on-other-device.txt", 10);
  EXPECT_EQ(removePath(tree.path("victim")), std::errc::cross_device_link);
  EXPECT_TRUE(fs::exists(tree.path("victim/mnt/on-other-device.txt")));
  EXPECT_FALSE(fs::exists(tree.path("victim/plain.txt")));
  EXPECT_EQ(removePath(tree.path("victim/mnt")), std::errc::cross_device_link);
}

TEST(SafeDeleteTest, AnItemReplacedSinceItWasCheckedIsRefused) {
  TempTree tree;
  tree.file("victim/a", 1);
  ItemIdentity identity;
  ASSERT_FALSE(identityOf(tree.path("victim"), identity));
  fs::rename(tree.path("victim"), tree.path("elsewhere"));
  tree.file("victim/b", 1);
  OpenedItem item;
  EXPECT_EQ(openItem(tree.path("victim"), identity, item).value(), ESTALE);
  // A parent folder replaced by a link is not followed either.
  fs::rename(tree.path("elsewhere"), tree.path("parent"));
  ASSERT_FALSE(identityOf(tree.path("parent/a"), identity));
  OpenedItem opened;
  ASSERT_FALSE(openItem(tree.path("parent/a"), identity, opened));
  EXPECT_TRUE(fs::exists(tree.path("victim/b")));
}

TEST(SafeDeleteTest, RootAndDotPathsAreRejected) {
  OpenedItem item;
  for (const char* path : {"/", "relative/x", "/tmp/.."}) {
    EXPECT_EQ(openItem(path, {}, item), std::errc::invalid_argument) << path;
  }
}

}  // namespace
}  // namespace tidyloom
