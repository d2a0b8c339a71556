// Race: while permanent removals run, folders inside the item are swapped for links to a sentinel
// folder outside it, thousands of times. The sentinel must stay whole.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "core/scan_roots.h"
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

}  // namespace
}  // namespace tidyloom
