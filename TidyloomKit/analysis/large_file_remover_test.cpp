// Removing chosen large files: to the Trash or permanently, with a re-check of each path.
#include <gtest/gtest.h>

#include "analysis/large_file_remover.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using testing::TempTree;

struct Fixture {
  TempTree tree;
  ScanRoots roots = ScanRoots::fixture(tree.root());
  Remover remover = [this] {
    Remover r;
    r.protection = ProtectionLayer::forFixture(tree.root());
    r.trash = folderTrash(tree.path(".Trash"));
    return r;
  }();
};

TEST(LargeFileRemoverTest, TrashActionMovesChosenFilesToTheTrashAndKeepsTheRest) {
  Fixture f;
  const auto movie = f.tree.file("Movies/big.mov", 4000);
  const auto copy = f.tree.file("backup/big.mov", 4000);
  const auto report = LargeFileRemover::run({copy.string()}, LargeFileAction::trash, f.roots, f.remover);
  EXPECT_TRUE(report.failed.empty());
  EXPECT_EQ(report.removed, std::vector<std::string>{copy.string()});
  EXPECT_FALSE(std::filesystem::exists(copy));
  EXPECT_TRUE(std::filesystem::exists(f.tree.path(".Trash/big.mov")));
  EXPECT_TRUE(std::filesystem::exists(movie));
}

TEST(LargeFileRemoverTest, PermanentActionDeletesAndAPathSwappedForALinkFails) {
  Fixture f;
  const auto gone = f.tree.file("a/old.iso", 4000);
  const auto target = f.tree.file("keep/precious.iso", 4000);
  const auto swapped = f.tree.file("b/listed.iso", 4000);
  std::filesystem::remove(swapped);
  f.tree.symlink("b/listed.iso", target);
  const auto report =
      LargeFileRemover::run({gone.string(), swapped.string()}, LargeFileAction::permanent, f.roots, f.remover);
  EXPECT_FALSE(std::filesystem::exists(gone));
  ASSERT_EQ(report.failed.size(), 1u);
  EXPECT_EQ(report.failed[0].path, swapped.string());
  EXPECT_TRUE(std::filesystem::exists(target));
  EXPECT_FALSE(std::filesystem::exists(f.tree.path(".Trash")));
}

}  // namespace
}  // namespace tidyloom
