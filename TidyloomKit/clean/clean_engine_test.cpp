// The clean engine on fixture trees: what a preview offers and holds back, and what a run removes.
#include <gtest/gtest.h>

#include <algorithm>

#include "clean/clean_engine.h"
#include "core/engine_error.h"
#include "core/locations.h"
#include "l10n/l10n.h"
#include "platform/trash.h"
#include "removal/protection_layer.h"
#include "removal/whitelist_store.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using testing::TempTree;

std::vector<std::string> pathsOf(const std::vector<CleanupCandidate>& candidates) {
  std::vector<std::string> out;
  for (const auto& candidate : candidates) out.push_back(candidate.path);
  return out;
}

ScanRuleConfig fixtureConfig() {
  ScanRuleConfig config;
  config.cleanRules = {
      SectionRule{"userCaches", {}, {"Library/Caches/*"}, {}, false},
      SectionRule{"userLogs", {"Library/Logs"}, {}, {}, true},
      // The age-gated source owns this folder as well: it decides.
      SectionRule{"crashReporter", {}, {"Library/Application Support/CrashReporter/*"}, {}, false},
      SectionRule{
          "devCaches", {".npm/_cacache", "Library/Developer/Xcode/DerivedData", "Library/Caches"}, {}, {}, false},
  };
  config.ageGatedCaches = {{"Library/Application Support/CrashReporter", std::nullopt, 30, 1, "crashReporter"}};
  config.productGates = {{ProductProcessActivity::Family::chrome, {"Library/Caches/Google/Chrome/"}}};
  config.browserCaches = {{}, {"Library/Application Support/Code"}, {"Cache"}};
  return config;
}

class CleanEngineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    L10n::setLanguage(AppLanguage::simplifiedChinese);
    tree.file("Library/Caches/com.example.app/data", 5000);
    tree.file("Library/Caches/pip/http/a", 5000);
    tree.file("Library/Caches/Google/Chrome/Default/Cache/x", 5000);
    tree.dir("Library/Caches/empty.app");
    tree.file("Library/Logs/app.log", 3000);
    tree.file("Library/Logs/DiagnosticReports/crash.ips", 3000);
    tree.file(".npm/_cacache/index-v5/aa", 7000);
    tree.file("Library/Developer/Xcode/DerivedData/Proj-abc/Build/x.o", 9000);
    tree.file("Library/Application Support/CrashReporter/old.plist", 1000);
    tree.age("Library/Application Support/CrashReporter/old.plist", 60);
    tree.file("Library/Application Support/Code/User/settings.json", 100);
  }
  CleanEngine engine(ProcessList running = {}, bool checksOpenFiles = false) const {
    CleanEngine::Setup setup;
    const auto locations = Locations::fixture(tree.root());
    setup.roots = locations.roots;
    setup.whitelistFile = locations.applicationSupport / "whitelist.json";
    setup.config = fixtureConfig();
    setup.processes = [running] { return std::optional<ProcessList>(running); };
    setup.trash = folderTrash(*locations.fixtureTrash);
    setup.fixture = true;
    setup.checksOpenFiles = checksOpenFiles;
    return CleanEngine(std::move(setup));
  }
  void whitelist(const std::vector<std::string>& patterns) const {
    WhitelistStore(Locations::fixture(tree.root()).applicationSupport / "whitelist.json").save(patterns);
  }
  std::string p(const std::string& relative) const { return tree.path(relative).string(); }

  TempTree tree;
};

TEST_F(CleanEngineTest, FullPreviewListsRealCachesSortedAndDropsEmptyOnes) {
  const auto report = engine().preview();
  EXPECT_EQ(report.feature, TidyloomFeature::clean);
  EXPECT_FALSE(report.interrupted);
  const auto paths = pathsOf(report.candidates);
  EXPECT_TRUE(std::is_sorted(paths.begin(), paths.end()));
  for (const char* expected :
       {"Library/Caches/com.example.app", "Library/Logs/app.log", "Library/Logs/DiagnosticReports", ".npm/_cacache",
        "Library/Developer/Xcode/DerivedData", "Library/Application Support/CrashReporter/old.plist"}) {
    EXPECT_NE(std::find(paths.begin(), paths.end(), p(expected)), paths.end()) << expected;
  }
  EXPECT_EQ(std::find(paths.begin(), paths.end(), p("Library/Caches/empty.app")), paths.end());
  // "Library/Caches" as a developer rule is opened up, never offered whole.
  EXPECT_EQ(std::find(paths.begin(), paths.end(), p("Library/Caches")), paths.end());
  for (const auto& candidate : report.candidates) EXPECT_GT(candidate.byteSize, 0u) << candidate.path;
}

// A freedesktop.org Trash holding three items (a file, a folder, one without its record) under
// the fixture's home, with the "trash" rule that used to offer files/ and info/ as six items.
TEST_F(CleanEngineTest, EachTrashedItemIsOneReviewRowAndEmptyingDeletesItWithItsRecordForGood) {
  tree.text("Trash/files/old-report.txt", "report");
  tree.text("Trash/info/old-report.txt.trashinfo",
            "[Trash Info]\nPath=" + p("Documents/old-report.txt") + "\nDeletionDate=2026-11-01T10:20:30\n");
  tree.file("Trash/files/build/obj.o", 8000);
  tree.text("Trash/info/build.trashinfo", "[Trash Info]\nPath=/work/build\nDeletionDate=2026-11-02T08:00:00\n");
  tree.text("Trash/directorysizes", "12288 1790000000 build\n");
  tree.file("Trash/files/stray", 100);
  const platform::TrashLocation trash{tree.path("Trash/files"), tree.path("Trash/info"), {}};
  auto config = fixtureConfig();
  config.cleanRules.push_back(SectionRule{"trash", {"Trash/files", "Trash/info"}, {}, {}, true});
  CleanEngine::Setup setup;
  const auto locations = Locations::fixture(tree.root());
  setup.roots = locations.roots;
  setup.config = config;
  setup.trash = folderTrash(*locations.fixtureTrash);
  setup.fixture = true;
  setup.trashes = std::vector<platform::TrashLocation>{trash};
  const CleanEngine cleaner(std::move(setup));

  const auto preview = cleaner.preview();
  for (const auto& candidate : preview.candidates) EXPECT_FALSE(isUnder(candidate.path, p("Trash"))) << candidate.path;
  std::vector<const ReviewItem*> rows;
  for (const auto& item : preview.reviewItems) {
    if (item.section == "trash") rows.push_back(&item);
  }
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_EQ(rows[0]->path, p("Trash/files/build"));
  EXPECT_EQ(rows[0]->title, "/work/build");
  EXPECT_GE(rows[0]->byteSize, 8000u);
  EXPECT_NE(rows[0]->detail.find("2026-11-02 08:00"), std::string::npos) << rows[0]->detail;
  EXPECT_EQ(rows[1]->title, p("Documents/old-report.txt"));
  EXPECT_EQ(rows[2]->title, "stray");
  EXPECT_TRUE(rows[0]->explicitSelectionAllowed);

  // Even in a run that moves everything else to the Trash, its own items go for good.
  CleanEngine trashing = cleaner;
  trashing.mode = RemovalMode::trash;
  const auto report = trashing.run({rows[0]->path, rows[1]->path});
  EXPECT_TRUE(report.failed.empty()) << report.failed.front().reason;
  EXPECT_EQ(report.removed.size(), 2u);
  EXPECT_TRUE(report.trashed.empty());
  EXPECT_EQ(report.trashedBytes, 0u);
  EXPECT_GT(report.deletedBytes(), 8000u);
  EXPECT_FALSE(std::filesystem::exists(p(".Trash")));
  EXPECT_FALSE(std::filesystem::exists(p("Trash/files/build")));
  EXPECT_FALSE(std::filesystem::exists(p("Trash/info/build.trashinfo")));
  EXPECT_FALSE(std::filesystem::exists(p("Trash/info/old-report.txt.trashinfo")));
  EXPECT_EQ(testing::readText(p("Trash/directorysizes")), "");
  EXPECT_TRUE(std::filesystem::exists(p("Trash/files/stray")));
  // The Trash folders themselves are never removable as a whole any more.
  const auto folder = cleaner.run({p("Trash/files")});
  EXPECT_TRUE(folder.removed.empty());
  EXPECT_TRUE(std::filesystem::exists(p("Trash/files/stray")));
}

TEST_F(CleanEngineTest, RulePhasesReportTheirOwnProgressLabels) {
  std::vector<std::string> labels;
  (void)engine().preview(fixtureConfig().cleanRules, allSurfaces(), false,
                         [&](const ScanProgress& step) { labels.push_back(step.path); });
  for (const char* label : {"开发工具缓存（Xcode、编辑器、构建工具）", "Library/Logs",
                            "包管理器缓存（npm、pnpm、Go、uv、pip 等）", "Library/Caches"}) {
    EXPECT_NE(std::find(labels.begin(), labels.end(), label), labels.end()) << label;
  }
  labels.clear();
  (void)engine().preview(fixtureConfig().cleanRules, {CleanSurface::logs}, false,
                         [&](const ScanProgress& step) { labels.push_back(step.path); });
  EXPECT_EQ(std::find(labels.begin(), labels.end(), "Library/Caches"), labels.end());
}

TEST_F(CleanEngineTest, LogsSurfaceOffersOnlyLogRulesAndAgeGatedCaches) {
  const auto report = engine().preview(fixtureConfig().cleanRules, {CleanSurface::logs}, false);
  EXPECT_EQ(pathsOf(report.candidates),
            (std::vector<std::string>{p("Library/Application Support/CrashReporter/old.plist"),
                                      p("Library/Logs/DiagnosticReports"), p("Library/Logs/app.log")}));
  EXPECT_TRUE(report.ownerCaches.empty());
}

TEST_F(CleanEngineTest, PackageCachesOfADeveloperRuleAreFiledUnderDependencies) {
  const auto rules = fixtureConfig().cleanRules;
  const auto developer = pathsOf(engine().preview(rules, {CleanSurface::developer}, false).candidates);
  EXPECT_EQ(std::find(developer.begin(), developer.end(), p(".npm/_cacache")), developer.end());
  EXPECT_NE(std::find(developer.begin(), developer.end(), p("Library/Developer/Xcode/DerivedData")), developer.end());
  EXPECT_EQ(std::find(developer.begin(), developer.end(), p("Library/Caches/pip")), developer.end());
  const auto dependencies = engine().preview(rules, {CleanSurface::dependencies}, false).candidates;
  EXPECT_EQ(pathsOf(dependencies), (std::vector<std::string>{p(".npm/_cacache"), p("Library/Caches/pip")}));
  EXPECT_EQ(dependencies.front().section, "devCaches");
}

TEST_F(CleanEngineTest, WhitelistedPathsAndEverythingInsideThemAreNeverListed) {
  whitelist({"~/Library/Logs/DiagnosticReports", "~/Library/Caches/com.example.*"});
  const auto paths = pathsOf(engine().preview().candidates);
  for (const auto& path : paths) {
    EXPECT_FALSE(path.starts_with(p("Library/Logs/DiagnosticReports"))) << path;
    EXPECT_FALSE(path.starts_with(p("Library/Caches/com.example.app"))) << path;
  }
  EXPECT_NE(std::find(paths.begin(), paths.end(), p("Library/Logs/app.log")), paths.end());
}

TEST_F(CleanEngineTest, FolderHoldingWhitelistedContentIsOpenedUpAroundIt) {
  tree.file("Library/Logs/DiagnosticReports/keep.ips", 3000);
  whitelist({"~/Library/Logs/DiagnosticReports/keep.ips"});
  const auto paths = pathsOf(engine().preview().candidates);
  EXPECT_NE(std::find(paths.begin(), paths.end(), p("Library/Logs/DiagnosticReports/crash.ips")), paths.end());
  EXPECT_EQ(std::find(paths.begin(), paths.end(), p("Library/Logs/DiagnosticReports")), paths.end());
  EXPECT_EQ(std::find(paths.begin(), paths.end(), p("Library/Logs/DiagnosticReports/keep.ips")), paths.end());
  const auto refused = engine().run({p("Library/Logs/DiagnosticReports")});
  ASSERT_EQ(refused.failed.size(), 1u);
  EXPECT_EQ(refused.failed[0].reason, "路径包含白名单内容，拒绝删除");
}

TEST_F(CleanEngineTest, WildcardWhitelistEntryOpensUpOnlyTheFoldersThatHoldAMatch) {
  tree.file("Library/Caches/com.keep/keep.db", 4000);
  tree.file("Library/Caches/com.keep/blobs/b1", 4000);
  tree.file("Library/Caches/com.keep/deep/er/keep.db", 4000);
  whitelist({"~/Library/Caches/*/keep.db"});
  const auto report = engine().preview();
  const auto paths = pathsOf(report.candidates);
  EXPECT_EQ(std::find(paths.begin(), paths.end(), p("Library/Caches/com.keep")), paths.end());
  EXPECT_NE(std::find(paths.begin(), paths.end(), p("Library/Caches/com.keep/blobs")), paths.end());
  // A folder with no match inside is still offered whole.
  EXPECT_NE(std::find(paths.begin(), paths.end(), p("Library/Caches/com.example.app")), paths.end());
  for (const auto& path : paths) EXPECT_FALSE(path.ends_with("keep.db")) << path;

  // Running everything the preview offered, and the folder whole, leaves every keep.db in place.
  auto run = paths;
  run.push_back(p("Library/Caches/com.keep"));
  const auto report2 = engine().run(run);
  EXPECT_TRUE(std::filesystem::exists(p("Library/Caches/com.keep/keep.db")));
  EXPECT_TRUE(std::filesystem::exists(p("Library/Caches/com.keep/deep/er/keep.db")));
  EXPECT_FALSE(std::filesystem::exists(p("Library/Caches/com.keep/blobs")));
  const auto refused = std::find_if(report2.failed.begin(), report2.failed.end(),
                                    [&](const FailedPath& f) { return f.path == p("Library/Caches/com.keep"); });
  ASSERT_NE(refused, report2.failed.end());
  EXPECT_EQ(refused->reason, "路径包含白名单内容，拒绝删除");
}

TEST_F(CleanEngineTest, APathTheRunWouldRefuseIsNeverOffered) {
  tree.file("Library/Application Support/CrashReporter/fresh.plist", 1000);
  const auto report = engine().preview();
  const auto paths = pathsOf(report.candidates);
  EXPECT_EQ(std::find(paths.begin(), paths.end(), p("Library/Application Support/CrashReporter/fresh.plist")),
            paths.end());
  EXPECT_EQ(std::count(paths.begin(), paths.end(), p("Library/Application Support/CrashReporter/old.plist")), 1);
  // Everything offered goes through.
  const auto run = engine().run(paths);
  EXPECT_TRUE(run.failed.empty()) << run.failed.front().path << ": " << run.failed.front().reason;
  EXPECT_EQ(run.removed.size(), paths.size());
}

TEST_F(CleanEngineTest, AFixtureEngineNeverLooksAtAnAbsoluteRulePathOutsideItsTree) {
  testing::TempTree outside;
  outside.file("cache/blob", 4000);
  auto config = fixtureConfig();
  config.cleanRules.push_back(SectionRule{"userCaches", {}, {}, {outside.path("cache").string()}, false});
  const auto locations = Locations::fixture(tree.root());
  CleanEngine::Setup setup;
  setup.roots = locations.roots;
  setup.whitelistFile = locations.applicationSupport / "whitelist.json";
  setup.config = config;
  setup.trash = folderTrash(*locations.fixtureTrash);
  setup.fixture = true;
  const CleanEngine fixtureEngine(std::move(setup));
  for (const auto& path : pathsOf(fixtureEngine.preview().candidates)) {
    EXPECT_TRUE(path.starts_with(tree.root().string() + "/")) << path;
  }
  const auto run = fixtureEngine.run({outside.path("cache").string()});
  EXPECT_TRUE(run.removed.empty());
  EXPECT_TRUE(std::filesystem::exists(outside.path("cache/blob")));
}

TEST_F(CleanEngineTest, FilesAProgramHoldsOpenAreHeldAndRefused) {
  const testing::OpenFileHolder log(p("Library/Logs/app.log"));
  const testing::OpenFileHolder cache(p("Library/Caches/com.example.app/data"));
  ASSERT_TRUE(log.holding() && cache.holding());
  const auto report = engine({}, true).preview();
  const auto paths = pathsOf(report.candidates);
  std::vector<std::string> held;
  for (const auto& item : report.appHeld) held.push_back(item.candidate.path);
  for (const char* relative : {"Library/Logs/app.log", "Library/Caches/com.example.app"}) {
    EXPECT_EQ(std::find(paths.begin(), paths.end(), p(relative)), paths.end()) << relative;
    EXPECT_NE(std::find(held.begin(), held.end(), p(relative)), held.end()) << relative;
  }
  EXPECT_NE(std::find(paths.begin(), paths.end(), p("Library/Logs/DiagnosticReports")), paths.end());

  const auto run = engine({}, true).run({p("Library/Logs/app.log"), p("Library/Caches/com.example.app")});
  EXPECT_TRUE(run.removed.empty());
  ASSERT_EQ(run.failed.size(), 2u);
  EXPECT_TRUE(run.failed[0].reason.starts_with("正被运行中的程序使用")) << run.failed[0].reason;
  EXPECT_TRUE(std::filesystem::exists(p("Library/Logs/app.log")));
}

TEST_F(CleanEngineTest, CacheOfARunningBrowserIsHeldWithTheBrowsersName) {
  platform::RunningProcess chrome;
  chrome.name = "chrome";
  const auto report = engine({chrome}).preview();
  ASSERT_EQ(report.appHeld.size(), 1u);
  EXPECT_EQ(report.appHeld[0].candidate.path, p("Library/Caches/Google"));
  EXPECT_EQ(report.appHeld[0].appNames, std::vector<std::string>{"Google Chrome"});
  EXPECT_FALSE(report.appHeld[0].bundleIdentifiers.empty());
  const auto paths = pathsOf(report.candidates);
  EXPECT_EQ(std::find(paths.begin(), paths.end(), p("Library/Caches/Google")), paths.end());
}

TEST_F(CleanEngineTest, CancelledPreviewReturnsWhatItHasMarkedInterrupted) {
  std::stop_source stop;
  stop.request_stop();
  const auto report = engine().preview(fixtureConfig().cleanRules, allSurfaces(), true, {}, stop.get_token());
  EXPECT_TRUE(report.interrupted);
  EXPECT_TRUE(report.reviewItems.empty());
}

TEST_F(CleanEngineTest, ProgressNamesEachPhase) {
  std::vector<std::string> labels;
  (void)engine().preview(fixtureConfig().cleanRules, allSurfaces(), true,
                         [&](const ScanProgress& progress) { labels.push_back(progress.path); });
  EXPECT_NE(std::find(labels.begin(), labels.end(), "Library/Application Support/CrashReporter"), labels.end());
  EXPECT_NE(std::find(labels.begin(), labels.end(), "大型备份与开发数据复核"), labels.end());
}

TEST_F(CleanEngineTest, RunRemovesTheKeptPathsAndRefusesOneWhitelistedSincePreview) {
  const auto cleaner = engine();
  const auto report = cleaner.preview();
  whitelist({"~/Library/Logs/app.log"});
  const auto result = cleaner.run(pathsOf(report.candidates));
  ASSERT_EQ(result.failed.size(), 1u);
  EXPECT_EQ(result.failed[0].path, p("Library/Logs/app.log"));
  EXPECT_EQ(result.failed[0].reason, "路径包含白名单内容，拒绝删除");
  EXPECT_TRUE(std::filesystem::exists(p("Library/Logs/app.log")));
  EXPECT_EQ(result.removed.size(), report.candidates.size() - 1);
  EXPECT_FALSE(std::filesystem::exists(p("Library/Caches/com.example.app")));
  EXPECT_FALSE(std::filesystem::exists(p(".npm/_cacache")));
  EXPECT_GT(result.freedBytes, 0u);
}

TEST_F(CleanEngineTest, RunRefusesWhatNothingWouldOfferNowAndKeepsIt) {
  tree.file("Documents/thesis.tex", 100);
  tree.age("Library/Application Support/CrashReporter/old.plist", 0);  // touched since the preview
  const auto result = engine().run({p("Documents/thesis.tex"), p("Library/Application Support/CrashReporter/old.plist"),
                                    p("Library/Application Support/Code/User")});
  ASSERT_EQ(result.failed.size(), 3u);
  for (const auto& failure : result.failed) {
    EXPECT_TRUE(failure.reason.ends_with("请重新扫描") || failure.reason.starts_with("配置目录只能清理可重建缓存"))
        << failure.reason;
    EXPECT_TRUE(std::filesystem::exists(failure.path));
  }
  EXPECT_TRUE(result.removed.empty());
}

TEST_F(CleanEngineTest, RunKeepsACacheWhoseApplicationStartedSincePreview) {
  const auto paths = pathsOf(engine().preview().candidates);
  ASSERT_NE(std::find(paths.begin(), paths.end(), p("Library/Caches/com.example.app")), paths.end());
  platform::RunningProcess app;
  app.name = "com.example.app";
  const auto result = engine({app}).run({p("Library/Caches/com.example.app")});
  ASSERT_EQ(result.failed.size(), 1u);
  EXPECT_EQ(result.failed[0].reason, "com.example.app 正在运行，退出后再清理");
}

TEST_F(CleanEngineTest, ChangedToolCachePlanAbortsTheRun) {
  try {
    (void)engine().run({p("Library/Logs/app.log")}, {OwnerCachePlan{"go clean -cache", {p("gocache")}, 10}});
    FAIL() << "no error";
  } catch (const EngineError& e) {
    EXPECT_EQ(e.message(), "工具缓存无法使用原生命令清理，请重新扫描");
  }
  EXPECT_TRUE(std::filesystem::exists(p("Library/Logs/app.log")));
}

TEST_F(CleanEngineTest, OldSystemCachesAreOfferedAndRecheckedBeforeRemoval) {
  tree.file("SystemLibrary/Caches/old.cache", 3000);
  tree.age("SystemLibrary/Caches/old.cache", 10);
  tree.file("SystemLibrary/Caches/new.cache", 3000);
  tree.file("SystemLibrary/Caches/stale.cache", 3000);
  tree.age("SystemLibrary/Caches/stale.cache", 10);
  const auto cleaner = engine();
  const auto report = cleaner.preview();
  const auto paths = pathsOf(report.candidates);
  EXPECT_NE(std::find(paths.begin(), paths.end(), p("SystemLibrary/Caches/old.cache")), paths.end());
  EXPECT_EQ(std::find(paths.begin(), paths.end(), p("SystemLibrary/Caches/new.cache")), paths.end());
  tree.age("SystemLibrary/Caches/stale.cache", 0);  // written again after the preview
  const auto result = cleaner.run({p("SystemLibrary/Caches/old.cache"), p("SystemLibrary/Caches/stale.cache")});
  EXPECT_EQ(result.removed, std::vector<std::string>{p("SystemLibrary/Caches/old.cache")});
  ASSERT_EQ(result.failed.size(), 1u);
  EXPECT_TRUE(std::filesystem::exists(p("SystemLibrary/Caches/stale.cache")));
}

TEST_F(CleanEngineTest, SystemPathsOutsideFixtureModeNeedAPrivilegedRoute) {
  tree.file("SystemLibrary/Caches/old.cache", 100);
  CleanEngine::Setup setup;
  setup.roots = ScanRoots::fixture(tree.root());
  setup.whitelistFile = tree.path("whitelist.json");
  setup.config = fixtureConfig();
  setup.processes = idleProcessListing();
  setup.ownerCleaner = OwnerCacheCleaner::none();
  setup.runsAsRoot = false;
  const CleanEngine live(std::move(setup));
  const auto result = live.run({p("SystemLibrary/Caches/old.cache")});
  ASSERT_EQ(result.failed.size(), 1u);
  EXPECT_EQ(result.failed[0].reason, "删除系统位置需要管理员权限，未删除");
  EXPECT_TRUE(std::filesystem::exists(p("SystemLibrary/Caches/old.cache")));
}

}  // namespace
}  // namespace tidyloom
