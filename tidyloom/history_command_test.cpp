// End-to-end tests of run recording and of `tidyloom history` and `tidyloom stats`.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "core/atomic_write.h"
#include "history/history_store.h"
#include "history/usage_stats_store.h"
#include "run_recording.h"
#include "testing/temp_tree.h"

namespace tidyloom::cli {
namespace {

using testing::TempTree;

class RunRecordingTest : public ::testing::Test {
 protected:
  TempTree tree;
  Context context;
  void SetUp() override { context.options.fixture = tree.root().string(); }
  std::filesystem::path support() const { return tree.path("Library/Application Support/Tidyloom"); }
  HistoryStore history() const { return HistoryStore(support() / "history.json"); }
};

TEST_F(RunRecordingTest, RecordsTheRunInTheHistoryAndTheStatistics) {
  RunReport report;
  report.removed = {"/f/a", "/f/b"};
  report.failed = {{"/f/c", "busy"}};
  report.freedBytes = 5000;
  recordRun(context, "remove", RemovalMode::permanent, report, 12);

  const auto entries = history().load();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].feature, "remove");
  EXPECT_EQ(entries[0].mode, "permanent");
  EXPECT_EQ(entries[0].itemCount, 3);
  EXPECT_EQ(entries[0].freedBytes, 5000u);
  EXPECT_EQ(entries[0].status, "partial");
  EXPECT_EQ(entries[0].paths, report.removed);

  // The first record seeds from the history; the run must be counted once, not twice.
  const auto stats = UsageStatsStore(support() / "usage-stats.json", history()).load({});
  EXPECT_EQ(stats.freedBytes, 5000u);
  EXPECT_EQ(stats.scannedFiles, 12u);
}

TEST_F(RunRecordingTest, StatusSaysWhetherAnythingFailed) {
  RunReport ok;
  ok.removed = {"/a"};
  RunReport failed;
  failed.failed = {{"/b", "denied"}};
  recordRun(context, "clean", RemovalMode::trash, ok, 0);
  recordRun(context, "clean", RemovalMode::trash, failed, 0);
  const auto entries = history().load();
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].status, "failed");
  EXPECT_EQ(entries[0].itemCount, 1);
  EXPECT_EQ(entries[1].status, "ok");
  EXPECT_EQ(entries[1].mode, "trash");
}

TEST_F(RunRecordingTest, ARunThatHandledNoPathRecordsNothing) {
  recordRun(context, "purge", RemovalMode::permanent, RunReport{}, 100);
  EXPECT_FALSE(std::filesystem::exists(support() / "history.json"));
  EXPECT_FALSE(std::filesystem::exists(support() / "usage-stats.json"));
}

TEST_F(RunRecordingTest, AFailureToRecordIsAWarningNotAnError) {
  tree.text("Library/Application Support/Tidyloom", "a file where the folder should be");
  RunReport report;
  report.removed = {"/a"};
  ::testing::internal::CaptureStderr();
  EXPECT_NO_THROW(recordRun(context, "remove", RemovalMode::trash, report, 0));
  const std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("history"), std::string::npos) << err;
  EXPECT_NE(err.find("usage statistics"), std::string::npos) << err;
}

testing::CommandResult runTidyloom(const TempTree& tree, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"--fixture", tree.root().string(), "--lang", "en", "--no-progress"});
  return testing::runProgram(testing::builtProgram("tidyloom"), arguments);
}

TEST(HistoryCommandTest, ANewUserSeesNoRunsAndADayOfUse) {
  TempTree tree;
  const auto list = runTidyloom(tree, {"history"});
  EXPECT_EQ(list.status, 0) << list.err;
  EXPECT_NE(list.out.find("No runs recorded yet."), std::string::npos) << list.out;

  const auto stats = runTidyloom(tree, {"stats"});
  EXPECT_EQ(stats.status, 0) << stats.err;
  EXPECT_NE(stats.out.find("Days of use"), std::string::npos) << stats.out;
  const auto json = nlohmann::json::parse(runTidyloom(tree, {"--json", "stats"}).out);
  EXPECT_EQ(json["freedBytes"], 0);
  EXPECT_EQ(json["scannedFiles"], 0);
  EXPECT_TRUE(json["firstUse"].get<std::string>().ends_with("Z"));
}

TEST(HistoryCommandTest, ListsRunsNewestFirstAndExportsThem) {
  TempTree tree;
  const HistoryStore store(tree.path("Library/Application Support/Tidyloom/history.json"));
  const auto now = std::chrono::system_clock::now();
  store.append(HistoryEntry::make("purge", now - std::chrono::hours(2), 1, 1'500'000, "permanent", "ok", {"/p/x"}));
  store.append(HistoryEntry::make("clean", now, 2, 2'000, "trash", "partial", {"/c/a"}));

  const auto list = runTidyloom(tree, {"history"});
  EXPECT_EQ(list.status, 0) << list.err;
  EXPECT_LT(list.out.find("clean"), list.out.find("purge")) << list.out;
  EXPECT_NE(list.out.find("1.5 MB"), std::string::npos) << list.out;
  EXPECT_NE(list.out.find("Some failed"), std::string::npos) << list.out;

  const auto entries = nlohmann::json::parse(runTidyloom(tree, {"history", "--json"}).out);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0]["feature"], "clean");

  const auto exported = runTidyloom(tree, {"history", "--export", "1"});
  EXPECT_EQ(exported.status, 0) << exported.err;
  const auto document = nlohmann::json::parse(exported.out);
  EXPECT_EQ(document["limit"], 1);
  ASSERT_EQ(document["sessions"].size(), 1u);
  EXPECT_EQ(document["sessions"][0]["command"], "clean");
  EXPECT_EQ(document["sessions"][0]["failed_tasks"], 1);
  EXPECT_EQ(document["deletions"][0]["path"], "/c/a");

  EXPECT_EQ(runTidyloom(tree, {"history", "--export", "-3"}).status, 2);
  EXPECT_EQ(runTidyloom(tree, {"history", "--export", "-1"}).status, 2);
  EXPECT_EQ(runTidyloom(tree, {"history", "--export", "many"}).status, 2);
}

// Moving to the Trash frees nothing until the Trash is emptied: history and statistics keep the
// bytes moved there apart from the bytes freed.
TEST(HistoryCommandTest, ARemoveRunShowsUpInHistoryAndStatsWithTrashedBytesApartFromFreed) {
  TempTree tree;
  const auto victim = tree.file("Downloads/old.iso", 300'000);
  const auto removed = runTidyloom(tree, {"remove", "--yes", victim.string()});
  ASSERT_EQ(removed.status, 0) << removed.err;
  ASSERT_FALSE(std::filesystem::exists(victim));
  EXPECT_NE(removed.out.find("Moved 1 items (303.1 kB) to the Trash"), std::string::npos) << removed.out;
  EXPECT_EQ(removed.out.find("freeing"), std::string::npos) << removed.out;

  const auto entries = nlohmann::json::parse(runTidyloom(tree, {"--json", "history"}).out);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0]["feature"], "remove");
  EXPECT_EQ(entries[0]["mode"], "trash");
  EXPECT_EQ(entries[0]["status"], "ok");
  EXPECT_EQ(entries[0]["itemCount"], 1);
  EXPECT_EQ(entries[0]["paths"], nlohmann::json::array({victim.string()}));
  EXPECT_EQ(entries[0]["freedBytes"], 0);
  EXPECT_TRUE(entries[0]["undoable"].get<bool>());
  const auto trashed = entries[0]["trashedBytes"].get<std::uint64_t>();
  EXPECT_GE(trashed, 300'000u);
  // The history file itself keeps exactly its own keys.
  const auto file =
      nlohmann::json::parse(testing::readText(tree.path("Library/Application Support/Tidyloom/history.json")));
  EXPECT_EQ(file[0].size(), 8u) << file.dump();

  const auto stats = nlohmann::json::parse(runTidyloom(tree, {"--json", "stats"}).out);
  EXPECT_EQ(stats["freedBytes"], 0);
  EXPECT_EQ(stats["trashedBytes"], trashed);
  const auto list = runTidyloom(tree, {"history"});
  EXPECT_NE(list.out.find("remove"), std::string::npos) << list.out;
  EXPECT_NE(list.out.find("Moved to Trash"), std::string::npos) << list.out;
  EXPECT_NE(list.out.find("can be undone"), std::string::npos) << list.out;

  // Emptied by hand: the run can no longer be undone, and the table says so.
  std::filesystem::remove_all(tree.path(".Trash"));
  const auto after = nlohmann::json::parse(runTidyloom(tree, {"--json", "history"}).out);
  EXPECT_FALSE(after[0]["undoable"].get<bool>());
}

}  // namespace
}  // namespace tidyloom::cli
