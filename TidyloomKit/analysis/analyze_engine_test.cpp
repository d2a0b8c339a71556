// Tests of directory analysis and the overview on real fixture trees.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "analysis/analyze_engine.h"
#include "l10n/l10n.h"
#include "platform/bulk_reader.h"
#include "platform/mounts.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using testing::TempTree;

TEST(AnalyzeEngineTest, ReportsAnEmptyFolderCompleteAndAnUnreadableOneUnavailable) {
  TempTree tree;
  tree.dir("empty");
  const auto empty = AnalyzeEngine{}.report(tree.path("empty"), 10);
  EXPECT_EQ(empty.scanStatus, "complete");
  EXPECT_EQ(empty.totalSize, 0u);
  EXPECT_TRUE(empty.entries.empty());
  const auto missing = AnalyzeEngine{}.report(tree.path("missing"), 10);
  EXPECT_EQ(missing.scanStatus, "unavailable");
  EXPECT_EQ(missing.path, tree.path("missing").string());
  EXPECT_EQ(missing.totalFiles, 0);
}

TEST(AnalyzeEngineTest, KeepsTheLimitButTotalsEveryVisibleChild) {
  TempTree tree;
  for (int i = 0; i < 50; ++i) tree.file("many/f" + std::to_string(i), 5000 + static_cast<std::uint64_t>(i) * 4096);
  tree.file("many/.hidden", 900000);
  const auto parsed = nlohmann::json::parse(AnalyzeEngine{}.json(tree.path("many")));
  EXPECT_EQ(parsed["entries"].size(), 40u);
  EXPECT_EQ(parsed["total_files"], 50);
  const auto report = parsed.get<AnalyzeReport>();
  std::uint64_t sum = 0;
  for (const auto& e : AnalyzeEngine{}.report(tree.path("many"), 1000).entries) {
    EXPECT_NE(e.name, ".hidden");
    sum += e.size;
  }
  EXPECT_EQ(report.totalSize, sum);
  EXPECT_EQ(report.entries.front().name, "f49");
}

TEST(AnalyzeEngineTest, ListsLargeFilesButNeverLargeFolders) {
  TempTree tree;
  tree.file("r/movie.mov", 12'000'000);
  tree.file("r/notes.txt", 9'000'000);
  tree.file("r/Caches/a", 11'000'000);
  tree.file("r/Caches/b", 11'000'000);
  const auto report = AnalyzeEngine{}.report(tree.path("r"), 10);
  ASSERT_EQ(report.entries.size(), 3u);
  EXPECT_EQ(report.entries[0].name, "Caches");
  EXPECT_TRUE(report.entries[0].isDir);
  EXPECT_TRUE(report.entries[0].cleanable && report.entries[0].insight);
  EXPECT_EQ(report.totalFiles, 2);
  ASSERT_EQ(report.largeFiles.size(), 1u);
  EXPECT_EQ(report.largeFiles[0].name, "movie.mov");
}

TEST(AnalyzeEngineTest, KeepsEqualSizesInListingOrder) {
  TempTree tree;
  for (const char* name : {"k", "b", "x", "a"}) tree.file(std::string("same/") + name, 4096);
  std::vector<std::string> listed;
  platform::DirectoryReader(tree.path("same").string()).read({}, [&](const platform::BulkEntry& e) {
    listed.emplace_back(e.name);
  });
  std::vector<std::string> reported;
  for (const auto& e : AnalyzeEngine{}.list(tree.path("same"), 10)) reported.push_back(e.name);
  EXPECT_EQ(reported, listed);
}

TEST(AnalyzeEngineTest, OverviewSkippingProtectedFoldersMeasuresOnlyCachesLogsAndUserApplications) {
  TempTree tree;
  tree.file("Library/Caches/app/blob", 30000);
  tree.file("Library/Caches/Pictures/p", 50000);
  tree.file("Library/Caches/com.apple.photos.library/x", 50000);
  tree.file("Library/Caches/deep/er/not-counted", 70000);
  tree.file("Library/Logs/log.txt", 2000);
  tree.file("Applications/Tool.app/bin", 1000);
  L10n::setLanguage(AppLanguage::simplifiedChinese);
  const auto report = AnalyzeEngine{}.overview(tree.root(), true);
  L10n::setLanguage(AppLanguage::system);
  ASSERT_EQ(report.entries.size(), 3u);
  EXPECT_EQ(report.totalFiles, 3);
  EXPECT_EQ(report.entries[0].name, "Caches");
  EXPECT_EQ(report.entries[0].size, 30000u);
  EXPECT_EQ(report.entries[1].name, "Logs");
  EXPECT_EQ(report.entries[2].name, "用户应用");
  EXPECT_EQ(report.entries[2].path, tree.path("Applications").string());
  EXPECT_EQ(report.totalSize, 30000u + 2000u + 1000u);
}

TEST(AnalyzeEngineTest, OverviewMeasuresHomeFoldersAndTheApplicationsFolderTwoLevelsDeep) {
  TempTree tree;
  tree.file("Documents/a.pdf", 10000);
  tree.file("Documents/Pictures/kept.jpg", 20000);
  tree.file("Library/x/y/deeper", 40000);
  tree.file("Apps/Big.app/payload", 5000);
  AnalyzeEngine engine;
  engine.systemApplications = tree.path("Apps");
  engine.listsVolumes = false;
  const auto report = engine.overview(tree.root(), false);
  ASSERT_EQ(report.entries.size(), 3u);
  EXPECT_EQ(report.entries[0].name, "Documents");
  EXPECT_EQ(report.entries[0].size, 30000u);
  EXPECT_EQ(report.entries[1].name, "Apps");
  EXPECT_EQ(report.entries[2].name, "Library");
  EXPECT_TRUE(report.entries[2].insight);
  EXPECT_EQ(report.entries[2].size, 0u);
  EXPECT_TRUE(report.largeFiles.empty());
}

struct VolumeCase {
  AnalyzeEngine::MountRecord record;
  bool listed;
};

class OverviewVolumesTest : public ::testing::TestWithParam<VolumeCase> {};

TEST_P(OverviewVolumesTest, ListsOnlyLocalWritableBrowsableDisksDirectlyInTheVolumesFolder) {
  const AnalyzeEngine::VolumeRule mac{{"/Volumes"}, "/dev/disk"};
  const auto volumes = AnalyzeEngine::overviewVolumes({GetParam().record}, mac);
  EXPECT_EQ(volumes.size(), GetParam().listed ? 1u : 0u) << GetParam().record.path;
}

constexpr auto kLocal = platform::kMountLocal;
INSTANTIATE_TEST_SUITE_P(
    Mounts, OverviewVolumesTest,
    ::testing::Values(VolumeCase{{"/Volumes/Backup Disk", "/dev/disk4s1", kLocal}, true},
                      VolumeCase{{"/Volumes/Installer", "/dev/disk5s1", kLocal | platform::kMountReadOnly}, false},
                      VolumeCase{{"/Volumes/share", "//ann@server/share", 0}, false},
                      VolumeCase{{"/Volumes/Hidden", "/dev/disk6s1", kLocal | platform::kMountDontBrowse}, false},
                      VolumeCase{{"/Volumes/a/b", "/dev/disk7s1", kLocal}, false},
                      VolumeCase{{"/mnt/usb", "/dev/disk8s1", kLocal}, false},
                      VolumeCase{{"/Volumes/../Volumes/x", "/dev/disk9s1", kLocal}, false},
                      VolumeCase{{"/Volumes/x/", "/dev/disk9s1", kLocal}, false}));

TEST(OverviewVolumesTest, KeepsTheFirstOfDuplicateMountsAndAppliesTheLinuxRule) {
  const AnalyzeEngine::VolumeRule linux{{"/media/ann", "/mnt"}, "/dev/"};
  const auto volumes = AnalyzeEngine::overviewVolumes({{"/media/ann/USB", "/dev/sdb1", kLocal},
                                                       {"/mnt/data", "/dev/nvme0n1p3", kLocal},
                                                       {"/media/ann/USB", "/dev/sdc1", kLocal},
                                                       {"/media/bob/USB", "/dev/sdd1", kLocal},
                                                       {"/mnt/nfs", "server:/export", 0}},
                                                      linux);
  ASSERT_EQ(volumes.size(), 2u);
  EXPECT_EQ(volumes[0], "/media/ann/USB");
  EXPECT_EQ(volumes[1], "/mnt/data");
}

TEST(AnalyzeEngineTest, ReadsTheMachinesMountTable) {
  const auto table = AnalyzeEngine::mountTable();
  ASSERT_FALSE(table.empty());
  EXPECT_TRUE(std::any_of(table.begin(), table.end(), [](const auto& r) { return r.path == "/"; }));
}

}  // namespace
}  // namespace tidyloom
