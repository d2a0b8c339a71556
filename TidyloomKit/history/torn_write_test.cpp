// A writer killed at any moment, or read while it writes, never leaves a half-written history file.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>
#include <thread>

#include "core/atomic_write.h"
#include "history/history_store.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using namespace std::chrono_literals;

// Long paths make each write big enough (~300 kB) to be caught part-way.
HistoryEntry bigEntry(int serial) {
  std::vector<std::string> paths;
  for (int i = 0; i < 12; ++i)
    paths.push_back("/Users/someone/Library/Caches/" + std::string(100, 'a' + i % 26) + "/" + std::to_string(serial));
  return HistoryEntry::make("clean", std::chrono::system_clock::now(), 12, 1u << 20, "trash", "ok", std::move(paths));
}

// The file as a reader sees it: whole and decodable, with the full 200 entries.
void expectWholeFile(const HistoryStore& store) {
  std::string contents;
  ASSERT_TRUE(readWholeFile(store.fileURL, contents));
  const auto entries = HistoryStore::decode(contents);
  ASSERT_TRUE(entries.has_value()) << "half-written file of " << contents.size() << " bytes";
  EXPECT_EQ(entries->size(), HistoryStore::kCapacity);
}

TEST(TornWriteTest, KilledOrConcurrentWritersNeverLeaveAPartialFile) {
  testing::TempTree tree;
  const HistoryStore store(tree.path("Tidyloom/history.json"));
  std::vector<HistoryEntry> initial;
  for (int i = 0; i < 200; ++i) initial.push_back(bigEntry(i));
  writeFileAtomically(store.fileURL, HistoryStore::encode(initial));

  std::mt19937 random(42);
  for (int round = 0; round < 12; ++round) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      for (int serial = 1000;; ++serial) store.append(bigEntry(serial));  // until killed
    }
    // Read while the child rewrites the file, then kill it at an arbitrary point of a write.
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(20 + random() % 80);
    int reads = 0;
    while (std::chrono::steady_clock::now() < until) {
      expectWholeFile(store);
      ++reads;
    }
    ASSERT_EQ(::kill(child, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status)) << "the writer stopped by itself (status " << status << ")";
    EXPECT_GT(reads, 0);
    expectWholeFile(store);
    if (HasFailure()) return;
  }
  // The killed writers' entries are whole too: the file still decodes through the store.
  EXPECT_EQ(store.load().size(), HistoryStore::kCapacity);
}

}  // namespace
}  // namespace tidyloom
