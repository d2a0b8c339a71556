// Tests of the usage statistics: seeding from the history, wrap-around totals, calendar days.
#include <gtest/gtest.h>

#include <limits>

#include <nlohmann/json.hpp>

#include "core/atomic_write.h"
#include "core/engine_error.h"
#include "core/iso8601.h"
#include "history/usage_stats_store.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using namespace std::chrono_literals;

HistoryTimestamp at(const char* iso) { return *parseISO8601(iso); }

class UsageStatsStoreTest : public ::testing::Test {
 protected:
  testing::TempTree tree;
  HistoryStore history{tree.path("Tidyloom/history.json")};
  UsageStatsStore store{tree.path("Tidyloom/usage-stats.json"), history};
  HistoryTimestamp now = at("2026-03-14T12:00:00Z");

  void addRun(std::uint64_t freed, HistoryTimestamp when) {
    history.append(HistoryEntry::make("clean", when, 1, freed, "trash", "ok", {"/x"}));
  }
};

TEST_F(UsageStatsStoreTest, WithoutFilesStartsTodayAtZeroAndCreatesTheFile) {
  const auto stats = store.load(now);
  EXPECT_EQ(stats, (UsageStats{now, 0, 0}));
  std::string text;
  ASSERT_TRUE(readWholeFile(store.fileURL, text));
  EXPECT_EQ(text, R"({"firstUse":"2026-03-14T12:00:00Z","freedBytes":0,"scannedFiles":0})");
}

TEST_F(UsageStatsStoreTest, SeedsFromTheHistoryOnce) {
  const auto tenDaysAgo = now - 24h * 10;
  addRun(5000, tenDaysAgo);
  addRun(7000, now - 24h * 2);
  const auto seeded = store.load(now);
  EXPECT_EQ(seeded, (UsageStats{tenDaysAgo, 12000, 0}));

  // Once saved, the file wins over the history.
  addRun(1, now);
  EXPECT_EQ(store.load(now + 1h), seeded);
}

TEST_F(UsageStatsStoreTest, AFutureHistoryEntryDoesNotMoveFirstUsePastNow) {
  addRun(10, now + 24h * 3);
  EXPECT_EQ(store.load(now).firstUse, now);
}

TEST_F(UsageStatsStoreTest, RecordAddsSavesAndWrapsAroundNearTheLimit) {
  constexpr auto kMax = std::numeric_limits<std::uint64_t>::max();
  addRun(kMax - 5, now - 1h);
  addRun(10, now - 2h);
  EXPECT_EQ(store.load(now).freedBytes, 4u);  // the seed itself wraps

  const auto recorded = store.record(kMax, 3, now);
  EXPECT_EQ(recorded.freedBytes, 3u);
  EXPECT_EQ(recorded.scannedFiles, 3u);
  EXPECT_EQ(store.load(now + 24h), recorded);
}

TEST_F(UsageStatsStoreTest, UndecodableFileIsReseededSilently) {
  addRun(42, now - 1h);
  for (const char* bad : {"{", R"({"firstUse":"2026-03-14T12:00:00.5Z","freedBytes":0,"scannedFiles":0})",
                          R"({"firstUse":"2026-03-14T12:00:00Z","freedBytes":-1,"scannedFiles":0})",
                          R"({"firstUse":"2026-03-14T12:00:00Z","freedBytes":1})"}) {
    tree.text("Tidyloom/usage-stats.json", bad);
    EXPECT_EQ(store.load(now), (UsageStats{now - 1h, 42, 0})) << bad;
  }
}

TEST_F(UsageStatsStoreTest, ADateBeyondTheSystemClockIsUndecodableNotAnOverflow) {
  for (const char* date : {"2345-01-01T00:00:00Z", "9999-12-31T23:59:59Z", "1600-01-01T00:00:00Z"}) {
    const std::string text = std::string(R"({"firstUse":")") + date + R"(","freedBytes":1,"scannedFiles":2})";
    EXPECT_THROW((void)nlohmann::json::parse(text).get<UsageStats>(), nlohmann::json::exception) << date;
  }
}

TEST_F(UsageStatsStoreTest, RecordReportsAWriteFailureButLoadDoesNot) {
  tree.text("blocked", "a file where the folder should be");
  const UsageStatsStore blocked(tree.path("blocked/usage-stats.json"), history);
  addRun(9, now - 1h);
  EXPECT_EQ(blocked.load(now).freedBytes, 9u);
  EXPECT_THROW(blocked.record(1, 1, now), EngineError);
}

struct DaysCase {
  const char* zone;
  const char* firstUse;
  const char* asOf;
  std::int64_t days;
};

class UsageStatsDaysTest : public ::testing::TestWithParam<DaysCase> {};

TEST_P(UsageStatsDaysTest, CountsCalendarDaysInTheGivenZone) {
  const auto& c = GetParam();
  const UsageStats stats{at(c.firstUse), 0, 0};
  EXPECT_EQ(stats.days(at(c.asOf), Calendar::inTimeZone(c.zone)), c.days)
      << c.zone << " " << c.firstUse << " -> " << c.asOf;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, UsageStatsDaysTest,
    ::testing::Values(DaysCase{"UTC", "2026-03-14T00:00:00Z", "2026-03-14T23:59:59Z", 1},
                      DaysCase{"UTC", "2026-03-14T23:59:00Z", "2026-03-15T00:01:00Z", 2},
                      DaysCase{"UTC", "2026-03-14T12:00:00Z", "2026-03-10T12:00:00Z", 1},
                      DaysCase{"UTC", "2026-02-27T12:00:00Z", "2026-03-01T00:00:00Z", 3},
                      // 23:30 UTC is already the next day in Berlin and still the same day in New York.
                      DaysCase{"Europe/Berlin", "2026-01-10T22:30:00Z", "2026-01-10T23:30:00Z", 2},
                      DaysCase{"America/New_York", "2026-01-10T22:30:00Z", "2026-01-11T03:30:00Z", 1},
                      // Across the spring change to summer time, which has a 23-hour day.
                      DaysCase{"Europe/Berlin", "2026-03-28T23:30:00Z", "2026-03-29T22:30:00Z", 2},
                      DaysCase{"Europe/Berlin", "2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z", 366}));

TEST(UsageStatsTest, EncodesWholeSecondsAndRequiresEveryKey) {
  const UsageStats stats{at("2026-03-14T12:00:00Z") + 400ms, 1, 2};
  const nlohmann::json json = stats;
  EXPECT_EQ(json["firstUse"], "2026-03-14T12:00:00Z");
  EXPECT_THROW((void)nlohmann::json::parse(R"({"firstUse":"2026-03-14T12:00:00Z","freedBytes":1})").get<UsageStats>(),
               nlohmann::json::exception);
}

}  // namespace
}  // namespace tidyloom
