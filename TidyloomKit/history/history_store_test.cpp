// Tests of the history file: its exact format, the 200-entry cap, unreadable files and the export.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "core/atomic_write.h"
#include "core/engine_error.h"
#include "core/iso8601.h"
#include "history/history_store.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using namespace std::chrono_literals;

HistoryTimestamp at(const char* iso) { return *parseISO8601(iso); }

HistoryEntry entry(std::uint64_t freed, std::vector<std::string> paths = {}, std::string status = "ok",
                   HistoryTimestamp when = at("2026-03-14T09:26:53Z")) {
  const auto count = static_cast<std::int64_t>(paths.size());
  return HistoryEntry::make("clean", when, count, freed, "trash", std::move(status), std::move(paths));
}

std::string contentsOf(const std::filesystem::path& file) {
  std::string data;
  EXPECT_TRUE(readWholeFile(file, data));
  return data;
}

class HistoryStoreTest : public ::testing::Test {
 protected:
  testing::TempTree tree;
  HistoryStore store{tree.path("Tidyloom/history.json")};
};

TEST_F(HistoryStoreTest, MissingFileLoadsEmptyAndExportsOnlyTheLimit) {
  EXPECT_TRUE(store.load().empty());
  const auto document = store.quillDocument(20);
  EXPECT_EQ(document.limit, 20);
  EXPECT_TRUE(document.sessions.empty());
  EXPECT_TRUE(document.deletions.empty());
  EXPECT_FALSE(std::filesystem::exists(store.fileURL));
}

TEST_F(HistoryStoreTest, WritesCompactObjectsWithExactKeysUpperCaseIdsAndEscapedSlashes) {
  const auto first = entry(4096, {"/Users/a/Library/Caches/x"});
  store.append(first);
  const std::string text = contentsOf(store.fileURL);
  EXPECT_EQ(text.find('\n'), std::string::npos);
  EXPECT_EQ(text.find(": "), std::string::npos);
  EXPECT_NE(text.find(R"("\/Users\/a\/Library\/Caches\/x")"), std::string::npos) << text;
  EXPECT_NE(text.find(R"("timestamp":"2026-03-14T09:26:53Z")"), std::string::npos) << text;

  const auto json = nlohmann::json::parse(text);
  ASSERT_TRUE(json.is_array());
  ASSERT_EQ(json.size(), 1u);
  std::vector<std::string> keys;
  for (const auto& [key, value] : json[0].items()) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<std::string>{"feature", "freedBytes", "id", "itemCount", "mode", "paths", "status",
                                            "timestamp"}));
  EXPECT_EQ(json[0]["id"], first.id);
  EXPECT_TRUE(json[0]["itemCount"].is_number_integer());
  EXPECT_EQ(store.load(), std::vector<HistoryEntry>{first});
}

TEST_F(HistoryStoreTest, KeepsNewestFirstAndDropsTheOldestPastTwoHundred) {
  std::vector<HistoryEntry> entries;
  for (int i = 0; i < 200; ++i) entries.push_back(entry(static_cast<std::uint64_t>(i)));
  // Build the full file in one write; 200 appends would only test the same path 200 times.
  std::vector<HistoryEntry> newestFirst(entries.rbegin(), entries.rend());
  writeFileAtomically(store.fileURL, HistoryStore::encode(newestFirst));
  ASSERT_EQ(store.load().size(), 200u);

  const auto newest = entry(999);
  store.append(newest);
  const auto loaded = store.load();
  ASSERT_EQ(loaded.size(), 200u);
  EXPECT_EQ(loaded.front(), newest);
  EXPECT_EQ(loaded[1], entries[199]);
  EXPECT_EQ(loaded.back(), entries[1]);  // entries[0], the oldest, is gone
}

TEST_F(HistoryStoreTest, DropsTheFractionOfASecondOnWriting) {
  const auto precise = entry(1, {}, "ok", at("2026-03-14T09:26:53Z") + 750ms);
  store.append(precise);
  const auto loaded = store.load();
  ASSERT_EQ(loaded.size(), 1u);
  EXPECT_NE(loaded[0], precise);
  EXPECT_EQ(loaded[0].timestamp, at("2026-03-14T09:26:53Z"));
  EXPECT_EQ(std::hash<HistoryEntry>{}(loaded[0]), std::hash<HistoryEntry>{}(loaded[0]));
}

TEST_F(HistoryStoreTest, ReadersAcceptPlainSlashesAndLowerCaseIds) {
  tree.text(
      "Tidyloom/history.json",
      R"([{"id":"0f8c3e6a-2b1d-4e55-9a7c-3d2e1f0a9b88","feature":"purge","timestamp":"2026-03-14T09:26:53Z",)"
      R"("itemCount":1,"freedBytes":10,"mode":"permanent","status":"ok","paths":["/p/node_modules"],"extra":1}])");
  const auto loaded = store.load();
  ASSERT_EQ(loaded.size(), 1u);
  EXPECT_EQ(loaded[0].id, "0F8C3E6A-2B1D-4E55-9A7C-3D2E1F0A9B88");
  EXPECT_EQ(loaded[0].paths, std::vector<std::string>{"/p/node_modules"});
}

TEST_F(HistoryStoreTest, AppendFailsWhenTheFolderCannotBeMade) {
  tree.text("blocked", "a file where the folder should be");
  const HistoryStore blocked(tree.path("blocked/history.json"));
  EXPECT_THROW(blocked.append(entry(1)), EngineError);
  EXPECT_TRUE(blocked.load().empty());
}

TEST_F(HistoryStoreTest, NegativeExportLimitStopsTheProcess) { EXPECT_DEATH((void)store.quillDocument(-1), ""); }

// One bad part makes the whole file unreadable; the next append replaces it with one entry.
class UnreadableHistoryTest : public ::testing::TestWithParam<const char*> {};

std::string goodObject(const std::string& replaceKey = {}, const std::string& replacement = {}) {
  nlohmann::json object = {{"id", "0F8C3E6A-2B1D-4E55-9A7C-3D2E1F0A9B88"},
                           {"feature", "clean"},
                           {"timestamp", "2026-03-14T09:26:53Z"},
                           {"itemCount", 2},
                           {"freedBytes", 100},
                           {"mode", "trash"},
                           {"status", "ok"},
                           {"paths", {"/a", "/b"}}};
  if (!replaceKey.empty()) {
    if (replacement.empty()) {
      object.erase(replaceKey);
    } else {
      object[replaceKey] = nlohmann::json::parse(replacement);
    }
  }
  return object.dump();
}

TEST_P(UnreadableHistoryTest, ReadsAsEmptyAndIsReplacedByTheNextAppend) {
  testing::TempTree tree;
  const HistoryStore store(tree.path("history.json"));
  tree.text("history.json", GetParam());
  EXPECT_TRUE(store.load().empty());
  EXPECT_TRUE(store.quillDocument(5).sessions.empty());
  const auto fresh = entry(7);
  store.append(fresh);
  EXPECT_EQ(store.load(), std::vector<HistoryEntry>{fresh});
}

const std::string kBadFiles[] = {
    "",
    "not json",
    "{}",
    "[" + goodObject() + ",",
    "[" + goodObject() + "," + goodObject("timestamp", R"("2026-03-14T09:26:53.250Z")") + "]",
    "[" + goodObject("timestamp", R"("2026-03-14T10:26:53+01:00")") + "]",
    "[" + goodObject("timestamp", "1773480413") + "]",
    "[" + goodObject("id", R"("not-a-uuid")") + "]",
    "[" + goodObject("freedBytes", "-1") + "]",
    "[" + goodObject("itemCount", "2.5") + "]",
    "[" + goodObject("itemCount", R"("2")") + "]",
    "[" + goodObject("paths", R"(["/a", 3])") + "]",
    "[" + goodObject("status") + "]",
    "[" + goodObject("paths") + "]",
    "[\"\xff\xfe\"]",
};

INSTANTIATE_TEST_SUITE_P(BadFiles, UnreadableHistoryTest, ::testing::ValuesIn([] {
                           std::vector<const char*> out;
                           for (const auto& s : kBadFiles) out.push_back(s.c_str());
                           return out;
                         }()));

TEST_F(HistoryStoreTest, ExportsOneSessionPerRunAndOneDeletionPerPathWithTheRunsWholeSize) {
  const auto older = entry(1023, {"/x"}, "partial", at("2026-03-13T08:00:00Z"));
  const auto empty = entry(0, {}, "ok", at("2026-03-13T09:00:00Z"));
  const auto newer = entry(1'048'576, {"/a", "/b", "/c"}, "ok", at("2026-03-14T09:26:53Z"));
  store.append(older);
  store.append(empty);
  store.append(newer);

  const auto document = store.quillDocument(10);
  EXPECT_EQ(document.limit, 10);
  ASSERT_EQ(document.sessions.size(), 3u);
  const auto& session = document.sessions[0];
  EXPECT_EQ(session.command, "clean");
  EXPECT_EQ(session.runID, newer.id);
  EXPECT_EQ(session.attribution, "run");
  EXPECT_EQ(session.startedAt, "2026-03-14T09:26:53Z");
  EXPECT_EQ(session.endedAt, session.startedAt);
  EXPECT_EQ(session.items, 3);
  EXPECT_EQ(session.operationCount, session.items);
  EXPECT_EQ(session.size, 1'048'576u);
  EXPECT_EQ(session.failedTasks, 0);
  EXPECT_EQ(document.sessions[2].failedTasks, 1);

  ASSERT_EQ(document.deletions.size(), 4u);  // none for the run without paths
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(document.deletions[i].sizeKB, 1024u);
    EXPECT_EQ(document.deletions[i].timestamp, "2026-03-14T09:26:53Z");
  }
  EXPECT_EQ(document.deletions[1].path, "/b");
  EXPECT_EQ(document.deletions[3].path, "/x");
  EXPECT_EQ(document.deletions[3].sizeKB, 0u);
  EXPECT_EQ(document.deletions[3].status, "partial");
  EXPECT_EQ(document.deletions[3].mode, "trash");

  EXPECT_EQ(store.quillDocument(1).sessions.size(), 1u);
  EXPECT_EQ(store.quillDocument(1).deletions.size(), 3u);
  const auto none = store.quillDocument(0);
  EXPECT_EQ(none.limit, 0);
  EXPECT_TRUE(none.sessions.empty() && none.deletions.empty());
}

TEST_F(HistoryStoreTest, OnlyTheExactStatusOkCountsAsWithoutFailedTasks) {
  for (const char* status : {"OK", "ok ", "failed"}) store.append(entry(1, {}, status));
  store.append(entry(1, {}, "ok"));
  const auto sessions = store.quillDocument(4).sessions;
  ASSERT_EQ(sessions.size(), 4u);
  EXPECT_EQ(sessions[0].failedTasks, 0);
  for (int i = 1; i < 4; ++i) EXPECT_EQ(sessions[i].failedTasks, 1);
}

TEST_F(HistoryStoreTest, ExportJSONIsSortedPrettyAndDecodesBack) {
  store.append(entry(2048, {"/a/b"}));
  const std::string text = store.quillJSON(3);
  EXPECT_NE(text.find('\n'), std::string::npos);
  EXPECT_LT(text.find("\"deletions\""), text.find("\"limit\""));
  EXPECT_LT(text.find("\"limit\""), text.find("\"sessions\""));
  EXPECT_NE(text.find(R"("size_kb": 2)"), std::string::npos) << text;
  EXPECT_NE(text.find(R"("\/a\/b")"), std::string::npos) << text;
  EXPECT_EQ(nlohmann::json::parse(text).get<QuillHistoryDocument>(), store.quillDocument(3));
  auto missing = nlohmann::json::parse(text);
  missing["sessions"][0].erase("failed_tasks");
  EXPECT_THROW((void)missing.get<QuillHistoryDocument>(), nlohmann::json::exception);
}

}  // namespace
}  // namespace tidyloom
