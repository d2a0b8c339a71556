// Tests of the health rating, the snapshot's assembly and JSON, and the watch loop.
#include <gtest/gtest.h>

#include <algorithm>

#include <nlohmann/json.hpp>

#include <thread>

#include "core/engine_error.h"
#include "core/locations.h"
#include "removal/file_measure.h"
#include "status/status_engine.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

struct RatingCase {
  double usedRatio;
  int processes;
  double topCpu;
  int score;
  const char* label;
  const char* pressure;
};

void PrintTo(const RatingCase& c, std::ostream* out) {
  *out << "used " << c.usedRatio << ", " << c.processes << " processes, top CPU " << c.topCpu;
}

class HealthRatingTest : public ::testing::TestWithParam<RatingCase> {};

TEST_P(HealthRatingTest, ScoresLabelsAndPressureFollowTheTable) {
  const auto& c = GetParam();
  const auto rating = rateHealth(c.usedRatio, c.processes, c.topCpu);
  EXPECT_EQ(rating.score, c.score);
  EXPECT_EQ(rating.label, c.label);
  EXPECT_EQ(rating.memoryPressure, c.pressure);
}

INSTANTIATE_TEST_SUITE_P(
    Table, HealthRatingTest,
    ::testing::Values(
        RatingCase{0.96, 300, 30, 65, "Fair", "high"}, RatingCase{0.80, 450, 60, 72, "Fair", "moderate"},
        RatingCase{0.50, 700, 90, 65, "Fair", "normal"}, RatingCase{0.0, 0, 0, 100, "Excellent", "normal"},
        // Boundaries: each threshold is "above", so the value itself costs the lower step.
        RatingCase{0.95, 0, 0, 80, "Good", "high"}, RatingCase{0.85, 0, 0, 90, "Excellent", "moderate"},
        RatingCase{0.75, 0, 0, 100, "Excellent", "normal"}, RatingCase{0.90, 0, 0, 80, "Good", "moderate"},
        RatingCase{0.0, 400, 0, 100, "Excellent", "normal"}, RatingCase{0.0, 401, 0, 92, "Excellent", "normal"},
        RatingCase{0.0, 600, 0, 92, "Excellent", "normal"}, RatingCase{0.0, 601, 0, 85, "Good", "normal"},
        RatingCase{0.0, 0, 50, 100, "Excellent", "normal"}, RatingCase{0.0, 0, 50.1, 90, "Excellent", "normal"},
        RatingCase{0.0, 0, 80, 90, "Excellent", "normal"}, RatingCase{0.0, 0, 80.1, 80, "Good", "normal"},
        RatingCase{0.80, 401, 51, 72, "Fair", "moderate"}, RatingCase{0.86, 401, 0, 72, "Fair", "moderate"},
        RatingCase{0.96, 601, 81, 30, "Poor", "high"}, RatingCase{0.86, 401, 51, 62, "Fair", "moderate"},
        RatingCase{0.96, 401, 0, 57, "Fair", "high"}, RatingCase{0.96, 601, 0, 50, "Fair", "high"},
        RatingCase{0.96, 601, 51, 40, "Poor", "high"}, RatingCase{0.0, 601, 81, 65, "Fair", "normal"},
        RatingCase{0.86, 0, 51, 70, "Fair", "moderate"}, RatingCase{0.76, 0, 51, 80, "Good", "moderate"},
        RatingCase{0.86, 0, 0, 80, "Good", "moderate"}, RatingCase{0.76, 601, 0, 75, "Good", "moderate"},
        RatingCase{0.76, 601, 51, 65, "Fair", "moderate"}));

TEST(DiskFiguresTest, UnknownAndNegativeFiguresCountZeroAndFreeNeverExceedsTotal) {
  auto d = diskFigures(1000, 400, 700);
  EXPECT_EQ(d.totalBytes, 1000u);
  EXPECT_EQ(d.freeBytes, 400u);
  EXPECT_EQ(d.purgeableBytes, 300u);
  d = diskFigures(std::nullopt, 400, std::nullopt);
  EXPECT_EQ(d.totalBytes, 0u);
  EXPECT_EQ(d.freeBytes, 0u);
  EXPECT_EQ(d.purgeableBytes, 0u);
  d = diskFigures(1000, -5, 200);
  EXPECT_EQ(d.freeBytes, 0u);
  EXPECT_EQ(d.purgeableBytes, 200u);
  d = diskFigures(1000, 1500, 1200);  // important below plain available: nothing purgeable
  EXPECT_EQ(d.freeBytes, 1000u);
  EXPECT_EQ(d.purgeableBytes, 0u);
  EXPECT_DOUBLE_EQ(diskUsedRatio(0, 0), 0.0);
  EXPECT_DOUBLE_EQ(diskUsedRatio(1000, 250), 0.75);
}

class FakeSources final : public StatusSources {
 public:
  std::string host = "studio";
  platform::VolumeCapacity volume{1000, 40, 140};
  platform::ProcessList list{300, {{9, "busy", 30}, {1, "init", 0.5}}};
  std::string hostName() const override { return host; }
  std::uint64_t physicalMemoryBytes() const override { return 16'000'000'000; }
  double uptimeSeconds() const override { return 3600.5; }
  platform::VolumeCapacity startupVolume() const override { return volume; }
  platform::ProcessList processes(std::size_t) const override { return list; }
  std::uint64_t trashSize() const override { return 4096; }
  SystemTime now() const override { return *parseISO8601("2026-03-04T05:06:07Z"); }
};

TEST(StatusEngineTest, SnapshotRatesTheMeasuredFiguresAndEncodesItsOwnKeys) {
  const auto sources = std::make_shared<FakeSources>();
  const StatusEngine engine(sources);
  const auto snapshot = engine.snapshot();
  EXPECT_EQ(snapshot.healthScore, 65);
  EXPECT_EQ(snapshot.healthScoreMsg, "Fair");
  EXPECT_EQ(snapshot.memoryPressure, "high");
  EXPECT_EQ(snapshot.diskPurgeableBytes, 100u);

  const std::string bytes = engine.jsonSnapshot();
  const auto json = nlohmann::json::parse(bytes);
  EXPECT_EQ(json.size(), 13u);
  EXPECT_EQ(json.at("captured_at"), "2026-03-04T05:06:07Z");
  EXPECT_EQ(json.at("top_processes").at(0), (nlohmann::json{{"pid", 9}, {"name", "busy"}, {"cpu", 30.0}}));
  EXPECT_EQ(json.at("trash_size"), 4096);
  // Pretty-printed, keys sorted: "captured_at" comes first, "uptime_seconds" last.
  EXPECT_EQ(bytes.rfind("{\n  \"captured_at\"", 0), 0u);
  EXPECT_LT(bytes.find("\"trash_size\""), bytes.find("\"uptime_seconds\""));
  EXPECT_EQ(json.get<StatusSnapshot>(), snapshot);
}

TEST(StatusEngineTest, NothingMeasurableStillGivesAnExcellentSnapshot) {
  const auto sources = std::make_shared<FakeSources>();
  sources->volume = {};
  sources->list = {};
  const auto snapshot = StatusEngine(sources).snapshot();
  EXPECT_EQ(snapshot.healthScore, 100);
  EXPECT_EQ(snapshot.healthScoreMsg, "Excellent");
  EXPECT_EQ(snapshot.processCount, 0);
  EXPECT_TRUE(snapshot.topProcesses.empty());
}

TEST(StatusEngineTest, HostNameThatIsNotUtf8FailsToEncodeWithAnIoError) {
  const auto sources = std::make_shared<FakeSources>();
  sources->host = "bad\xff";
  try {
    (void)StatusEngine(sources).jsonSnapshot();
    FAIL() << "expected an error";
  } catch (const EngineError& e) {
    EXPECT_EQ(e.kind(), EngineError::Kind::io);
  }
}

TEST(StatusEngineTest, WatchEmitsCountDocumentsAndStopsWhenAsked) {
  const StatusEngine engine(std::make_shared<FakeSources>());
  std::vector<std::string> emitted;
  engine.watch(0, 3, [&](const std::string& bytes) { emitted.push_back(bytes); });
  EXPECT_EQ(emitted.size(), 3u);
  emitted.clear();
  engine.watch(1, 0, [&](const std::string& bytes) { emitted.push_back(bytes); });
  EXPECT_TRUE(emitted.empty());

  // A long interval is cut short by the stop request, which ends the watch as cancelled.
  std::stop_source stop;
  std::thread stopper([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    stop.request_stop();
  });
  EXPECT_THROW(engine.watch(
                   3600, 2, [&](const std::string& bytes) { emitted.push_back(bytes); }, stop.get_token()),
               EngineError);
  stopper.join();
  EXPECT_EQ(emitted.size(), 1u);
}

TEST(StatusEngineTest, LiveSnapshotMeasuresTheFixtureTrashAndTheRealMachine) {
  testing::TempTree tree;
  tree.file(".Trash/files/a.bin", 100000);
  tree.hardlink(".Trash/files/a-link.bin", ".Trash/files/a.bin");
  tree.symlink(".Trash/files/outside", "/usr");
  const auto snapshot = StatusEngine(Locations::fixture(tree.root())).snapshot();
  EXPECT_GE(snapshot.trashSize, 100000u);
  EXPECT_EQ(snapshot.trashSize, FileMeasure::byteSize(tree.path(".Trash")));
  EXPECT_GT(snapshot.processCount, 1);
  EXPECT_GT(snapshot.diskTotalBytes, 0u);
  EXPECT_EQ(snapshot.topProcesses.size(), std::min(5, snapshot.processCount));
}

}  // namespace
}  // namespace tidyloom
