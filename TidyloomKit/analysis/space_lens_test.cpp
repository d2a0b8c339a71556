// Tests of the space-lens walk and its index on real fixture trees.
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>

#include "analysis/space_lens_scanner.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using testing::TempTree;

// What the walk should count for one regular file: allocation capped by the logical length.
std::uint64_t counted(const std::filesystem::path& path) {
  struct stat st {};
  EXPECT_EQ(::lstat(path.c_str(), &st), 0);
  return std::min<std::uint64_t>(static_cast<std::uint64_t>(st.st_blocks) * 512,
                                 static_cast<std::uint64_t>(st.st_size));
}

SpaceLensIndex scan(const TempTree& tree, int depth, bool protect = false, int threads = 2) {
  SpaceLensScanner scanner;
  scanner.depth = depth;
  scanner.threads = threads;
  scanner.skipsProtected = protect;
  scanner.home = tree.root().string();
  return scanner.scan(tree.root());
}

TEST(SpaceLensScannerTest, IndexesOnlyDownToTheDepthAndRollsDeeperBytesUpExactly) {
  TempTree tree;
  const auto top = tree.file("top.bin", 3000);
  const auto mid = tree.file("a/mid.bin", 70000);
  const auto deep = tree.file("a/b/c/d/deep.bin", 123457);
  const auto other = tree.file("z/other.bin", 4096);
  const auto index = scan(tree, 2);

  const std::string root = tree.root().string();
  EXPECT_TRUE(index.completed);
  EXPECT_EQ(index.rootPath, root);
  EXPECT_EQ(index.directories.size(), 4u);  // root, a, a/b, z
  EXPECT_FALSE(index.directories.contains(root + "/a/b/c"));
  EXPECT_EQ(index.directories.at(root + "/a/b").bytes, counted(deep));
  EXPECT_EQ(index.directories.at(root + "/a").bytes, counted(deep) + counted(mid));
  EXPECT_EQ(index.totalSize, counted(top) + counted(mid) + counted(deep) + counted(other));
  EXPECT_EQ(index.directories.at(root).items, 3);
  EXPECT_EQ(index.directories.at(root + "/a").items, 2);
  EXPECT_EQ(index.directories.at(root + "/a/b").items, 1);
}

TEST(SpaceLensScannerTest, GivesTheSameIndexOnOneThreadAsOnSeveral) {
  TempTree tree;
  for (int i = 0; i < 40; ++i)
    tree.file("d" + std::to_string(i % 7) + "/s" + std::to_string(i % 3) + "/f" + std::to_string(i), 1000 + i);
  const auto one = scan(tree, 3, false, 1);
  const auto four = scan(tree, 3, false, 4);
  EXPECT_EQ(one.totalSize, four.totalSize);
  EXPECT_EQ(one.directories, four.directories);
}

TEST(SpaceLensScannerTest, CountsHardLinksPerLinkAndNeverFollowsSymbolicLinks) {
  TempTree tree;
  const auto data = tree.file("in/data.bin", 50000);
  tree.hardlink("in/again.bin", "in/data.bin");
  tree.file("outside/huge.bin", 400000);
  tree.symlink("in/link-to-outside", tree.path("outside"));
  tree.symlink("in/link-to-file", tree.path("outside/huge.bin"));
  const auto index = scan(tree, 2);
  const auto& in = index.directories.at(tree.path("in").string());
  EXPECT_EQ(in.bytes, 2 * counted(data));
  EXPECT_EQ(in.items, 4);
  EXPECT_FALSE(index.directories.contains(tree.path("in/link-to-outside").string()));
}

TEST(SpaceLensScannerTest, NeverWalksVirtualMachineStoresCloudOrMediaLibraries) {
  TempTree tree;
  const auto kept = tree.file("Library/Caches/kept.bin", 8192);
  tree.file("VirtualBox VMs/disk.vdi", 100000);
  tree.file("Library/CloudStorage/file.bin", 100000);
  tree.file("Pictures/Photos Library.photoslibrary/db", 100000);
  tree.file("Library/Containers/com.apple.Photos/x", 100000);
  const auto index = scan(tree, 3);
  EXPECT_EQ(index.totalSize, counted(kept));
  EXPECT_FALSE(index.directories.contains(tree.path("VirtualBox VMs").string()));
  EXPECT_EQ(index.directories.at(tree.root().string()).items, 3);  // counted, though not walked
}

TEST(SpaceLensScannerTest, WalksPrivacyProtectedFoldersOnlyWhenProtectionIsOff) {
  TempTree tree;
  const auto mail = tree.file("Library/Mail/V10/mbox", 20000);
  const auto docs = tree.file("Documents/report.pdf", 30000);
  EXPECT_EQ(scan(tree, 2, true).totalSize, 0u);
  EXPECT_EQ(scan(tree, 2, false).totalSize, counted(mail) + counted(docs));
}

TEST(SpaceLensScannerTest, StaysOffOtherFileSystemsMountedInsideTheRoot) {
  TempTree tree;
  const auto own = tree.file("own.bin", 9000);
  const auto mountPoint = tree.dir("mounted");
  if (::mount("tidyloom-test", mountPoint.c_str(), "tmpfs", 0, "size=4m") != 0) {
    GTEST_SKIP() << "cannot mount a tmpfs here";
  }
  tree.file("mounted/elsewhere.bin", 100000);
  const auto index = scan(tree, 2);
  (void)::umount(mountPoint.c_str());
  EXPECT_EQ(index.totalSize, counted(own));
  EXPECT_EQ(index.directories.at(mountPoint.string()).bytes, 0u);
}

TEST(SpaceLensScannerTest, CountsAnUnreadableFolderAsEmpty) {
  TempTree tree;
  const auto readable = tree.file("open/a.bin", 5000);
  tree.file("closed/secret.bin", 80000);
  tree.mode("closed", 0700);
  ::chmod(tree.root().c_str(), 0755);
  ::chmod(tree.path("open").c_str(), 0755);
  ::chmod(tree.path("open/a.bin").c_str(), 0644);
  // Root reads everything, so the walk runs as an ordinary user in a child process.
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (::setgid(65534) != 0 || ::setuid(65534) != 0) {
      if (::geteuid() == 0) ::_exit(3);
    }
    const auto index = scan(tree, 2);
    const bool ok =
        index.totalSize == counted(readable) && index.directories.at(tree.path("closed").string()).items == 0;
    ::_exit(ok ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == 3) GTEST_SKIP() << "cannot drop privileges";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(SpaceLensScannerTest, StopsWithinADirectoryAndMarksThePartialIndexIncomplete) {
  TempTree tree;
  for (int i = 0; i < 200; ++i) tree.file("d" + std::to_string(i) + "/f", 100);
  SpaceLensScanner scanner;
  scanner.depth = 1;
  std::atomic<int> polls = 0;
  std::atomic<int> reports = 0;
  const auto index = scanner.scan(
      tree.root(), [&](const SpaceLensProgress&) { ++reports; },
      [&] {
        ++polls;
        return true;
      });
  EXPECT_FALSE(index.completed);
  EXPECT_GE(polls.load(), 1);
  EXPECT_GE(reports.load(), 1);
  EXPECT_LT(index.totalSize, 200u * 100u);
}

TEST(SpaceLensScannerTest, CreditsTheTallyAndReportsProgress) {
  TempTree tree;
  for (int i = 0; i < 12; ++i) tree.file("x/f" + std::to_string(i), 10);
  tree.symlink("x/link", "f0");
  SpaceLensScanner scanner;
  scanner.tally = std::make_shared<ScanTally>();
  SpaceLensProgress last;
  const auto index = scanner.scan(tree.root(), [&](const SpaceLensProgress& p) { last = p; });
  EXPECT_EQ(scanner.tally->files(), 12u);
  EXPECT_GE(last.scannedItems, 1);
}

TEST(SpaceLensScannerTest, NoWorkersGiveAnEmptyIndex) {
  TempTree tree;
  tree.file("a.bin", 1000);
  const auto index = scan(tree, 2, false, 0);
  EXPECT_TRUE(index.directories.empty());
  EXPECT_EQ(index.totalSize, 0u);
  EXPECT_TRUE(index.completed);
}

}  // namespace
}  // namespace tidyloom
