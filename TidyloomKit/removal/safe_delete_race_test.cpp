// Races: while removals run, folders inside the item, or an ancestor of it, are swapped for links to
// a sentinel folder outside, thousands of times. The sentinel must stay whole.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>

#include <atomic>
#include <thread>

#include "core/scan_roots.h"
#include "core/unique_fd.h"
#include "removal/protection_layer.h"
#include "removal/remover.h"
#include "removal/trash_put_back.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

namespace fs = std::filesystem;
using testing::TempTree;

constexpr int kRounds = 2000;
constexpr int kSentinelFiles = 8;

size_t countFiles(const fs::path& root) {
  size_t n = 0;
  for (const auto& entry : fs::recursive_directory_iterator(root)) n += entry.is_regular_file() ? 1 : 0;
  return n;
}

void buildVictim(const TempTree& tree) {
  for (const char* file : {"p/victim/a/1", "p/victim/a/2", "p/victim/swap/x", "p/victim/swap/deep/y", "p/victim/z"}) {
    tree.file(file, 16);
  }
}

// Swaps `folder` for a link to `target` and back, as fast as it can, until stopped.
void swapper(const fs::path& folder, const fs::path& target, const std::atomic<bool>& stop) {
  const fs::path parked = folder.string() + ".parked";
  std::error_code ec;
  while (!stop.load(std::memory_order_relaxed)) {
    fs::rename(folder, parked, ec);
    if (ec) continue;
    fs::create_symlink(target, folder, ec);
    std::this_thread::yield();
    fs::remove(folder, ec);
    fs::rename(parked, folder, ec);
  }
}

TEST(SafeDeleteRace, FoldersSwappedForLinksNeverLeadTheRemovalOutsideItsTree) {
  TempTree outside;
  for (int i = 0; i < kSentinelFiles; ++i) outside.file("sentinel/f" + std::to_string(i), 16);
  const fs::path sentinel = outside.path("sentinel");

  TempTree tree;
  Remover remover;
  const auto roots = ScanRoots::fixture(tree.root());
  size_t removed = 0;
  for (int round = 0; round < kRounds; ++round) {
    buildVictim(tree);
    std::atomic<bool> stop{false};
    // Rounds alternate between a folder right below the item and one further down.
    const fs::path swapped = round % 2 ? tree.path("p/victim/swap") : tree.path("p/victim/swap/deep");
    std::thread thread(swapper, swapped, sentinel, std::cref(stop));
    const auto report = remover.remove({tree.path("p/victim").string()}, RemovalMode::permanent, roots,
                                       RemovalScope::userSelected, false);
    stop = true;
    thread.join();
    removed += report.removed.size();
    ASSERT_EQ(countFiles(sentinel), static_cast<size_t>(kSentinelFiles)) << "round " << round;
    std::error_code ec;
    fs::remove_all(tree.path("p"), ec);
  }
  // The race must not make every removal fail, or the test proves nothing.
  EXPECT_GT(removed, 0u);
}

// Exchanges two names atomically, as fast as it can, until stopped; counts the exchanges.
void exchanger(const fs::path& a, const fs::path& b, const std::atomic<bool>& stop, std::atomic<long>& count) {
  while (!stop.load(std::memory_order_relaxed)) {
    if (::renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE) == 0) ++count;
  }
}

// F/T holds the item x; F/L is a link to V, a folder outside F. T and L trade places all the time
// while a fixture run removes F/T/x in userData scope: nothing in V may change, and a path the
// report calls removed must really be gone from T.
void ancestorSwapRounds(RemovalMode mode) {
  TempTree outside;
  outside.text("V/x", "canary");
  outside.text("V/y", "canary");
  TempTree fixture;
  const fs::path t = fixture.path("T"), l = fixture.path("L");
  fixture.dir("T");
  fs::create_symlink(outside.path("V"), l);
  // The real folder, held so that each round's item is made in it whichever name it has now.
  const UniqueFd folder(::open(t.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_TRUE(folder.valid());
  Remover remover;
  remover.protection = ProtectionLayer::forFixture(fixture.root());
  remover.trash = folderTrash(fixture.path(".Trash"));
  const auto roots = ScanRoots::fixture(fixture.root());

  std::atomic<bool> stop{false};
  std::atomic<long> exchanges{0};
  std::thread thread(exchanger, t, l, std::cref(stop), std::ref(exchanges));
  while (exchanges.load() < 100) std::this_thread::yield();
  size_t removed = 0;
  for (int round = 0; round < kRounds; ++round) {
    const int fd = ::openat(folder.get(), "x", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::write(fd, "item", 4), 4);
    ::close(fd);
    const auto report = remover.remove({(t / "x").string()}, mode, roots, RemovalScope::userData, false);
    ASSERT_EQ(testing::readText(outside.path("V/x")), "canary") << "round " << round;
    ASSERT_EQ(testing::readText(outside.path("V/y")), "canary") << "round " << round;
    ASSERT_EQ(std::distance(fs::directory_iterator(outside.path("V")), fs::directory_iterator()), 2) << round;
    if (!report.removed.empty()) {
      struct stat info {};
      ASSERT_NE(::fstatat(folder.get(), "x", &info, AT_SYMLINK_NOFOLLOW), 0) << "claimed removed in round " << round;
      ++removed;
    }
  }
  stop = true;
  thread.join();
  // The race must neither make every removal fail nor never happen, or the test proves nothing.
  EXPECT_GT(removed, 0u);
  EXPECT_LT(removed, static_cast<size_t>(kRounds));
  EXPECT_GT(exchanges.load(), kRounds);
}

TEST(RemoverRace, AnAncestorSwappedForALinkNeverLeadsAPermanentRemovalOutside) {
  ancestorSwapRounds(RemovalMode::permanent);
}

TEST(RemoverRace, AnAncestorSwappedForALinkNeverLeadsATrashMoveOutside) { ancestorSwapRounds(RemovalMode::trash); }

// The same swap while trashed items are put back to F/T/x: an item comes back into the real T or
// stays in the Trash, never into V through the link.
TEST(PutBackRace, AParentSwappedForALinkNeverReceivesTheItem) {
  TempTree outside;
  outside.text("V/y", "canary");
  TempTree fixture;
  const fs::path t = fixture.path("T"), l = fixture.path("L");
  fixture.dir("T");
  fixture.dir(".Trash");
  fs::create_symlink(outside.path("V"), l);
  const UniqueFd folder(::open(t.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const UniqueFd trash(::open(fixture.path(".Trash").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_TRUE(folder.valid() && trash.valid());

  std::atomic<bool> stop{false};
  std::atomic<long> exchanges{0};
  std::thread thread(exchanger, t, l, std::cref(stop), std::ref(exchanges));
  while (exchanges.load() < 100) std::this_thread::yield();
  size_t restored = 0;
  for (int round = 0; round < kRounds; ++round) {
    const int fd = ::openat(trash.get(), "x", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    ASSERT_GE(fd, 0);
    ::close(fd);
    struct stat info {};
    ASSERT_EQ(::fstatat(trash.get(), "x", &info, AT_SYMLINK_NOFOLLOW), 0);
    const TrashedItem item{(t / "x").string(), fixture.path(".Trash").string(), "x", info.st_dev, info.st_ino, 0, 0};
    const auto back = PutBack::restore(item);
    ASSERT_EQ(std::distance(fs::directory_iterator(outside.path("V")), fs::directory_iterator()), 1) << round;
    if (back.state == PutBack::State::restored) {
      ASSERT_EQ(::fstatat(folder.get(), "x", &info, AT_SYMLINK_NOFOLLOW), 0) << "claimed restored in round " << round;
      ASSERT_EQ(::unlinkat(folder.get(), "x", 0), 0);
      ++restored;
    } else {
      ASSERT_EQ(back.state, PutBack::State::failed) << round;
      ASSERT_EQ(::unlinkat(trash.get(), "x", 0), 0) << "the item left the Trash in round " << round;
    }
  }
  stop = true;
  thread.join();
  EXPECT_GT(restored, 0u);
  EXPECT_LT(restored, static_cast<size_t>(kRounds));
}

}  // namespace
}  // namespace tidyloom
