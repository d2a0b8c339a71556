// Races: while removals run, folders inside the item, or an ancestor of it, are swapped for links to
// a sentinel folder outside, thousands of times. The sentinel must stay whole.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdio.h>

#include <atomic>
#include <thread>

#include "core/scan_roots.h"
#include "removal/protection_layer.h"
#include "removal/remover.h"
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

// Exchanges two names atomically, as fast as it can, until stopped.
void exchanger(const fs::path& a, const fs::path& b, const std::atomic<bool>& stop) {
  while (!stop.load(std::memory_order_relaxed)) {
    (void)::renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE);
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
  Remover remover;
  remover.protection = ProtectionLayer::forFixture(fixture.root());
  remover.trash = folderTrash(fixture.path(".Trash"));
  const auto roots = ScanRoots::fixture(fixture.root());
  size_t removed = 0;
  for (int round = 0; round < kRounds; ++round) {
    // Put T back as the folder before each round.
    if (fs::is_symlink(t)) (void)::renameat2(AT_FDCWD, t.c_str(), AT_FDCWD, l.c_str(), RENAME_EXCHANGE);
    fixture.text("T/x", "item");
    std::atomic<bool> stop{false};
    std::thread thread(exchanger, t, l, std::cref(stop));
    const auto report = remover.remove({(t / "x").string()}, mode, roots, RemovalScope::userData, false);
    stop = true;
    thread.join();
    ASSERT_EQ(testing::readText(outside.path("V/x")), "canary") << "round " << round;
    ASSERT_EQ(testing::readText(outside.path("V/y")), "canary") << "round " << round;
    ASSERT_EQ(std::distance(fs::directory_iterator(outside.path("V")), fs::directory_iterator()), 2) << round;
    if (!report.removed.empty()) {
      const fs::path folder = fs::is_symlink(t) ? l : t;
      ASSERT_FALSE(fs::exists(folder / "x")) << "claimed removed in round " << round;
      ++removed;
    }
    std::error_code ec;
    fs::remove_all(fixture.path(".Trash"), ec);
  }
  EXPECT_GT(removed, 0u);
}

TEST(RemoverRace, AnAncestorSwappedForALinkNeverLeadsAPermanentRemovalOutside) {
  ancestorSwapRounds(RemovalMode::permanent);
}

TEST(RemoverRace, AnAncestorSwappedForALinkNeverLeadsATrashMoveOutside) { ancestorSwapRounds(RemovalMode::trash); }

}  // namespace
}  // namespace tidyloom
