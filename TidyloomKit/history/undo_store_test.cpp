// Tests of the undo store and of trashed bytes in the statistics: what a run moved to a Trash is
// kept by run id beside the history, never inside it.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "core/atomic_write.h"
#include "core/iso8601.h"
#include "history/undo_store.h"
#include "history/usage_stats_store.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

HistoryTimestamp at(const char* iso) { return *parseISO8601(iso); }

TrashedItem item(const std::string& path, std::uint64_t inode) {
  return {path, "/home/u/.local/share/Trash/files", "name-" + std::to_string(inode), 2049, inode, 17, 4096};
}

UndoRecord run(const std::string& id, std::vector<TrashedItem> items) {
  return {id, "clean", at("2026-03-14T12:00:00Z"), 4096 * items.size(), std::move(items)};
}

TEST(UndoStoreTest, RunsAreKeptNewestFirstByIdAndUpdatedItemByItem) {
  testing::TempTree tree;
  const UndoStore store(tree.path("Tidyloom/undo.json"));
  EXPECT_TRUE(store.load().empty());
  store.append(run("AAAA", {item("/a", 1), item("/b", 2)}));
  store.append(run("BBBB", {item("/c", 3)}));
  const auto records = store.load();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].runID, "BBBB");
  EXPECT_EQ(records[1], run("AAAA", {item("/a", 1), item("/b", 2)}));

  // Items that came back leave the record; what the run trashed stays for the history.
  store.update("AAAA", {item("/b", 2)});
  const auto updated = store.find("AAAA");
  ASSERT_TRUE(updated);
  EXPECT_EQ(updated->items, std::vector<TrashedItem>{item("/b", 2)});
  EXPECT_EQ(updated->trashedBytes, 8192u);
  EXPECT_FALSE(store.find("CCCC"));
}

TEST(UndoStoreTest, KeepsAsManyRunsAsTheHistoryAndADamagedFileIsKeptAside) {
  testing::TempTree tree;
  const UndoStore store(tree.path("undo.json"));
  for (int i = 0; i < 205; ++i) store.append(run("R" + std::to_string(i), {item("/x", 1)}));
  const auto records = store.load();
  ASSERT_EQ(records.size(), UndoStore::kCapacity);
  EXPECT_EQ(records.front().runID, "R204");
  EXPECT_EQ(records.back().runID, "R5");

  tree.text("undo.json", "{\"runs\": [ broken");
  EXPECT_TRUE(store.load().empty());
  store.append(run("NEW", {}));
  EXPECT_EQ(store.load().size(), 1u);
  bool keptAside = false;
  for (const auto& entry : std::filesystem::directory_iterator(tree.root())) {
    keptAside = keptAside || entry.path().filename().string().starts_with("undo.json.corrupt-");
  }
  EXPECT_TRUE(keptAside);
}

TEST(UsageStatsTrashTest, TrashedBytesAreTheirOwnTotalAndTheFileKeepsItsKeysUntilThen) {
  testing::TempTree tree;
  const HistoryStore history(tree.path("history.json"));
  const UsageStatsStore store(tree.path("usage-stats.json"), history);
  const auto now = at("2026-03-14T12:00:00Z");
  store.record(1000, 5, now);
  std::string text;
  ASSERT_TRUE(readWholeFile(store.fileURL, text));
  EXPECT_EQ(nlohmann::json::parse(text).size(), 3u) << text;

  const auto stats = store.record(0, 0, now, 250'000);
  EXPECT_EQ(stats.freedBytes, 1000u);
  EXPECT_EQ(stats.trashedBytes, 250'000u);
  EXPECT_EQ(store.load(now).trashedBytes, 250'000u);
}

}  // namespace
}  // namespace tidyloom
