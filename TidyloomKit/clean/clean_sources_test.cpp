// The specialised sources on real trees: what each offers, and how each re-checks a path.
#include <gtest/gtest.h>

#include "clean/age_gated_caches.h"
#include "clean/browser_cache_scanner.h"
#include "clean/device_firmware_scanner.h"
#include "clean/large_file_review_scanner.h"
#include "clean/mail_downloads_scanner.h"
#include "clean/npm_residual_caches.h"
#include "core/engine_error.h"
#include "l10n/l10n.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using testing::TempTree;

std::vector<std::string> pathsOf(const SourceFindings& findings) {
  std::vector<std::string> out;
  for (const auto& candidate : findings.candidates) out.push_back(candidate.path);
  out.insert(out.end(), findings.paths.begin(), findings.paths.end());
  std::sort(out.begin(), out.end());
  return out;
}

class CleanSourcesTest : public ::testing::Test {
 protected:
  void SetUp() override { L10n::setLanguage(AppLanguage::simplifiedChinese); }
  SourceFindings scan(const CleanSource& source) const {
    return source.scan(SourceScanContext{roots, {}, tally, whitelist});
  }
  std::string p(const std::string& relative) const { return tree.path(relative).string(); }
  void expectRefused(const CleanSource& source, const std::string& path) const {
    try {
      source.assertRemovableNow(path);
      ADD_FAILURE() << "not refused: " << path;
    } catch (const EngineError& e) {
      EXPECT_TRUE(e.message().ends_with("请重新扫描")) << e.message();
    }
  }

  TempTree tree;
  ScanRoots roots = ScanRoots::fixture(tree.root());
  ScanTallyRef tally = std::make_shared<ScanTally>();
  std::vector<std::string> whitelist;
};

TEST_F(CleanSourcesTest, AgeGatedCachesOfferOldMatchingFilesWithinTheirDepth) {
  tree.file("Library/Logs/Sim/a/old.log", 100);
  tree.age("Library/Logs/Sim/a/old.log", 20);
  tree.file("Library/Logs/Sim/a/new.log", 100);
  tree.file("Library/Logs/Sim/a/old.txt", 100);
  tree.age("Library/Logs/Sim/a/old.txt", 20);
  tree.file("Library/Logs/Sim/a/b/c/deep.log", 100);
  tree.age("Library/Logs/Sim/a/b/c/deep.log", 20);
  tree.file("Library/Logs/Sim/empty.log", 0);
  tree.age("Library/Logs/Sim/empty.log", 20);
  tree.file("elsewhere/x.log", 10);
  tree.symlink("Library/Logs/Sim/link.log", tree.path("elsewhere/x.log"));
  const AgeGatedCaches source(tree.root(), {{"Library/Logs/Sim", ".log", 14, 3, "userLogs"}});

  const auto found = scan(source);
  ASSERT_EQ(found.candidates.size(), 1u);
  EXPECT_EQ(found.candidates[0].path, p("Library/Logs/Sim/a/old.log"));
  EXPECT_EQ(found.candidates[0].section, "userLogs");
  EXPECT_GT(found.candidates[0].byteSize, 0u);
  EXPECT_GT(tally->files(), 0u);

  EXPECT_NO_THROW(source.assertRemovableNow(p("Library/Logs/Sim/a/old.log")));
  tree.age("Library/Logs/Sim/a/old.log", 1);  // written again since the preview
  expectRefused(source, p("Library/Logs/Sim/a/old.log"));
  expectRefused(source, p("Library/Logs/Sim/link.log"));
  EXPECT_FALSE(source.manages(p("Library/Logs/Sim/a/b/c/d/e.log")));
  EXPECT_FALSE(source.manages(p("Library/Logs/Other/x.log")));
}

TEST_F(CleanSourcesTest, NpmResidualsAreBarePathsDirectlyInsideNpmFolders) {
  tree.file(".npm/_cacache/index/a", 10);
  tree.file(".tnpm/_npx/b", 10);
  tree.file(".yarn/_cacache/c", 10);
  tree.file(".npm/_other/d", 10);
  tree.dir("real-logs");
  tree.dir(".cnpm");
  tree.symlink(".cnpm/_logs", tree.path("real-logs"));
  const NpmResidualCaches source(tree.root());
  EXPECT_EQ(pathsOf(scan(source)), (std::vector<std::string>{p(".npm/_cacache"), p(".tnpm/_npx")}));
  EXPECT_TRUE(source.manages(p(".npm/_cacache")));
  EXPECT_NO_THROW(source.assertRemovableNow(p(".npm/_cacache")));
  expectRefused(source, p(".cnpm/_logs"));
}

TEST_F(CleanSourcesTest, MailDownloadsOfferItemsUntouchedForTheirAge) {
  const std::string root = "Library/Containers/com.apple.mail/Data/Library/Mail Downloads";
  tree.file(root + "/OLD-ID/report.pdf", 2000);
  tree.age(root + "/OLD-ID/report.pdf", 60);
  tree.age(root + "/OLD-ID", 60);
  tree.file(root + "/MIXED-ID/old.pdf", 2000);
  tree.age(root + "/MIXED-ID/old.pdf", 60);
  tree.file(root + "/MIXED-ID/fresh.pdf", 2000);  // opened yesterday: the whole item stays
  tree.age(root + "/MIXED-ID", 60);
  const MailDownloadsScanner source(tree.root(), {root}, 30);
  const auto found = scan(source);
  ASSERT_EQ(found.candidates.size(), 1u);
  EXPECT_EQ(found.candidates[0].path, p(root + "/OLD-ID"));
  EXPECT_EQ(found.candidates[0].section, "mailDownloads");
  EXPECT_NO_THROW(source.assertRemovableNow(p(root + "/OLD-ID")));
  expectRefused(source, p(root + "/MIXED-ID"));
  expectRefused(source, p(root));
}

TEST_F(CleanSourcesTest, DeviceFirmwareOffersOnlyFirmwareImages) {
  tree.file("Library/iTunes/iPhone Software Updates/iPhone_17.ipsw", 5000);
  tree.file("Library/iTunes/iPhone Software Updates/notes.plist", 100);
  const DeviceFirmwareScanner source(tree.root(), {"Library/iTunes/iPhone Software Updates"});
  const auto found = scan(source);
  ASSERT_EQ(found.candidates.size(), 1u);
  EXPECT_EQ(found.candidates[0].section, "deviceFirmware");
  EXPECT_NO_THROW(source.assertRemovableNow(found.candidates[0].path));
  expectRefused(source, p("Library/iTunes/iPhone Software Updates/notes.plist"));
}

TEST_F(CleanSourcesTest, BrowserCachesAreNamedLeavesAndContainersAreNeverTakenWhole) {
  tree.file(".config/google-chrome/Default/Cache/data_1", 4000);
  tree.file(".config/google-chrome/Profile 1/Code Cache/js/x", 4000);
  tree.file(".config/google-chrome/ShaderCache/s", 4000);
  tree.file(".config/google-chrome/Default/History", 4000);
  tree.file(".config/Code/Cache/c", 4000);
  tree.file(".config/Code/Partitions/p1/Cache/c", 4000);
  tree.file(".config/Code/User/settings.json", 100);
  const BrowserCacheScanner source(tree.root(), {".config/google-chrome"}, {".config/Code"},
                                   {"Cache", "Code Cache", "ShaderCache"});
  EXPECT_EQ(
      pathsOf(scan(source)),
      (std::vector<std::string>{
          p(".config/Code/Cache"), p(".config/Code/Partitions/p1/Cache"), p(".config/google-chrome/Default/Cache"),
          p(".config/google-chrome/Profile 1/Code Cache"), p(".config/google-chrome/ShaderCache")}));
  EXPECT_FALSE(source.selectiveContainerRefusal(p(".config/Code/Partitions/p1/Cache/c")));
  EXPECT_EQ(source.selectiveContainerRefusal(p(".config/Code/User")),
            "配置目录只能清理可重建缓存，拒绝删除整个目录：" + p(".config/Code/User"));
  EXPECT_TRUE(source.selectiveContainerRefusal(p(".config/Code")));
  EXPECT_TRUE(source.selectiveContainerRefusal(p(".config")));
  EXPECT_FALSE(source.selectiveContainerRefusal(p(".config/google-chrome/Default")));
  expectRefused(source, p(".config/google-chrome/Default/History"));
}

TEST_F(CleanSourcesTest, LargeBackupsAndImagesBecomeUntickedReviewRows) {
  tree.file("Downloads/installer.dmg", 40000);
  tree.file("Downloads/small.iso", 10);
  tree.file("Downloads/notes.txt", 40000);
  tree.file("Library/Application Support/MobileSync/Backup/00008030-ABC/Manifest.db", 40000);
  const LargeFileReviewScanner source(tree.root(), 20000);
  const auto items = source.reviewItems(SourceScanContext{roots, {}, tally, whitelist});
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(items[0].path, p("Library/Application Support/MobileSync/Backup/00008030-ABC"));
  EXPECT_EQ(items[1].title, "installer.dmg");
  EXPECT_TRUE(items[1].explicitSelectionAllowed);
  EXPECT_FALSE(items[1].detail.empty());
  EXPECT_TRUE(source.manages(p("Downloads/installer.dmg")));
  EXPECT_NO_THROW(source.assertRemovableNow(p("Downloads/installer.dmg")));
  expectRefused(source, p("Downloads/small.iso"));
}

}  // namespace
}  // namespace tidyloom
