// Tests of the system clean scan and its re-check on fixture trees shaped like macOS.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "core/engine_error.h"
#include "helper/system_clean_scanner.h"
#include "l10n/l10n.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

class SystemCleanScannerTest : public ::testing::Test {
 protected:
  void SetUp() override { L10n::setLanguage(AppLanguage::simplifiedChinese); }
  void TearDown() override { L10n::setLanguage(AppLanguage::system); }

  testing::TempTree tree;
  SystemCleanScanner scanner{ScanRoots::fixture(tree.root()), 7, SystemScanNames::macOS()};

  // An old, non-empty file unless told otherwise.
  std::string file(const std::string& relative, double days = 8, std::uint64_t size = 100) {
    tree.file(relative, size);
    tree.age(relative, days);
    return tree.path(relative).string();
  }
  std::vector<std::string> paths(const std::vector<CleanupCandidate>& candidates) const {
    std::vector<std::string> out;
    for (const auto& candidate : candidates) out.push_back(candidate.path.substr(tree.root().string().size() + 1));
    std::sort(out.begin(), out.end());
    return out;
  }
  std::string refusal(const std::string& path, bool privileged = true) const {
    try {
      privileged ? scanner.assertPrivilegedRemovableNow(path) : scanner.assertRemovableNow(path);
    } catch (const EngineError& e) {
      return e.message();
    }
    return "allowed";
  }
};

TEST_F(SystemCleanScannerTest, VarLogsOfferOldNonEmptyLogsWithinThreeFolders) {
  file("private/var/log/system.log");
  file("private/var/log/install.LOG.gz");
  file("private/var/log/recent.log", 6);
  file("private/var/log/empty.log", 8, 0);
  file("private/var/log/foo.txt");
  file("private/var/log/.hidden.log");
  file("private/var/log/a/b/shallow.asl");
  file("private/var/log/a/b/c/deep.log");
  tree.symlink("private/var/log/link.log", tree.path("private/var/log/system.log"));

  const auto found = scanner.scanPrivateVarLogs();
  EXPECT_EQ(paths(found), (std::vector<std::string>{"private/var/log/a/b/shallow.asl", "private/var/log/install.LOG.gz",
                                                    "private/var/log/system.log"}));
  for (const auto& candidate : found) {
    EXPECT_EQ(candidate.section, "systemCaches");
    EXPECT_TRUE(candidate.removable);
    EXPECT_GE(candidate.byteSize, 100u);
  }
}

TEST_F(SystemCleanScannerTest, RootThatIsALinkYieldsNothing) {
  file("elsewhere/old.log");
  tree.dir("private/var");
  tree.symlink("private/var/log", tree.path("elsewhere"));
  EXPECT_TRUE(scanner.scanPrivateVarLogs().empty());
  EXPECT_EQ(refusal(tree.path("private/var/log/old.log").string()),
            "系统清理路径已变化：" + tree.path("private/var/log/old.log").string());
}

TEST_F(SystemCleanScannerTest, EachSectionKeepsToItsOwnRule) {
  file("SystemLibrary/Caches/com.example/index.CACHE");
  file("SystemLibrary/Caches/com.example/data.db");
  file("SystemLibrary/Caches/com.apple.iconservices.store/store.cache");
  file("SystemLibrary/Caches/com.apple.iconservices.store/blob.data");
  file("SystemLibrary/Logs/install.log");
  file("SystemLibrary/Logs/DiagnosticReports/App.crash");
  file("SystemLibrary/Logs/SomeVendor/service.log");
  file("private/var/db/diagnostics/Persist/0001.tracev3");
  file("private/var/db/powerlog/Library/BatteryLife/Archives/old.PLSQL.gz");
  file("private/var/db/powerlog/Library/BatteryLife/Current/live.PLSQL");
  file("private/var/db/reportmemoryexception/MemoryLimitViolations/recent.diag", 20);
  file("private/var/db/reportmemoryexception/MemoryLimitViolations/old.diag", 31);
  file("private/var/db/other/secret.db");

  EXPECT_EQ(paths(scanner.scanSystemCacheFiles()),
            (std::vector<std::string>{"SystemLibrary/Caches/com.apple.iconservices.store/store.cache",
                                      "SystemLibrary/Caches/com.example/index.CACHE"}));
  EXPECT_EQ(paths(scanner.scanNamedCaches()),
            (std::vector<std::string>{"SystemLibrary/Caches/com.apple.iconservices.store/blob.data",
                                      "SystemLibrary/Caches/com.apple.iconservices.store/store.cache"}));
  EXPECT_EQ(paths(scanner.scanSystemLogs()), (std::vector<std::string>{"SystemLibrary/Logs/DiagnosticReports/App.crash",
                                                                       "SystemLibrary/Logs/install.log"}));
  EXPECT_EQ(paths(scanner.scanPrivateDatabase()),
            (std::vector<std::string>{"private/var/db/diagnostics/Persist/0001.tracev3",
                                      "private/var/db/reportmemoryexception/MemoryLimitViolations/old.diag"}));
  // The powerlog walk stops at three levels; the live file would be refused anyway.
  file("private/var/db/powerlog/Archives/old.PLSQL.gz");
  file("private/var/db/powerlog/Current/live.PLSQL");
  EXPECT_EQ(paths(scanner.scanPrivateDatabase()).size(), 3u);
  EXPECT_EQ(refusal(tree.path("private/var/db/powerlog/Current/live.PLSQL").string()),
            "系统诊断数据已更新或属于活动数据库：" + tree.path("private/var/db/powerlog/Current/live.PLSQL").string());

  const auto plain = scanner.scanPrivileged(false);
  const auto rebuildable = scanner.scanPrivileged(true);
  EXPECT_EQ(rebuildable.size(), plain.size() + 1);  // blob.data; store.cache only once
}

TEST_F(SystemCleanScannerTest, UserDomainOffersGpuCachesOnlyWhenRebuildableAndTimeMachineData) {
  file("private/var/folders/zz/C/com.apple.metal/com.example.App/libraries.data");
  file("private/var/folders/zz/C/com.apple.metal/com.example.App/functions.list", 1);
  file("Library/Logs/TimeMachine/backup.log");
  EXPECT_EQ(paths(scanner.scanUserDomain(false)), std::vector<std::string>{"Library/Logs/TimeMachine/backup.log"});
  EXPECT_EQ(paths(scanner.scanUserDomain(true)),
            (std::vector<std::string>{"Library/Logs/TimeMachine/backup.log",
                                      "private/var/folders/zz/C/com.apple.metal/com.example.App/libraries.data"}));
  EXPECT_TRUE(scanner.scanPrivileged(true).empty());
  EXPECT_EQ(scanner.scan(true).size(), 2u);
}

TEST_F(SystemCleanScannerTest, OfferedPathsPassTheRecheckUntilTheyChange) {
  struct Case {
    std::string relative;
    std::string message;
  };
  const std::vector<Case> cases{
      {"SystemLibrary/Caches/com.example/index.cache", "系统缓存类型、深度或年龄不符合清理规则：%@"},
      {"private/var/log/system.log", "系统日志类型或年龄已变化，重新扫描后再清理：%@"},
      {"SystemLibrary/Logs/DiagnosticReports/App.crash", "系统日志已更新，重新扫描后再清理：%@"},
      {"SystemLibrary/Caches/com.apple.geoanalyticsd/tiles.data", "命名系统缓存已更新或路径变化：%@"},
      {"private/var/db/diagnostics/Persist/0001.tracev3", "系统诊断数据已更新或属于活动数据库：%@"},
  };
  for (const Case& c : cases) {
    const std::string path = file(c.relative);
    EXPECT_EQ(refusal(path), "allowed") << c.relative;
    tree.age(c.relative, 0);  // touched after the scan
    EXPECT_EQ(refusal(path), L10n::format(c.message, {path})) << c.relative;
  }
}

TEST_F(SystemCleanScannerTest, RecheckRefusesPathsOutsideTheSectionsAndSwappedLinks) {
  const std::string outside = file("Documents/report.log");
  EXPECT_EQ(refusal(outside), "路径不属于系统清理目标：" + outside);
  const std::string vendor = file("SystemLibrary/Logs/SomeVendor/service.log");
  EXPECT_EQ(refusal(vendor), "路径不属于系统清理目标：" + vendor);
  const std::string dotted = tree.path("private/var/log").string() + "/../log/x.log";
  EXPECT_EQ(refusal(dotted), "路径不属于系统清理目标：" + dotted);

  const std::string offered = file("private/var/log/app/old.log");
  EXPECT_EQ(refusal(offered), "allowed");
  std::filesystem::rename(tree.path("private/var/log/app"), tree.path("private/var/log/app.moved"));
  EXPECT_EQ(refusal(offered), "系统清理路径已变化：" + offered);
  tree.symlink("private/var/log/app", tree.path("private/var/log/app.moved"));
  EXPECT_EQ(refusal(offered), "系统清理路径已变化：" + offered);
  const std::string txt = file("private/var/log/notes.txt");
  EXPECT_EQ(refusal(txt), "系统日志类型或年龄已变化，重新扫描后再清理：" + txt);
}

TEST_F(SystemCleanScannerTest, UserDomainPathsPassOnlyTheFullRecheck) {
  const std::string gpu = file("private/var/folders/zz/C/com.apple.metalfe/shader.bin");
  EXPECT_EQ(refusal(gpu, true), "路径不属于系统清理目标：" + gpu);
  EXPECT_EQ(refusal(gpu, false), "allowed");
  tree.age("private/var/folders/zz/C/com.apple.metalfe/shader.bin", 1);
  EXPECT_EQ(refusal(gpu, false), "GPU 缓存已更新或路径不符合清理规则：" + gpu);
}

TEST_F(SystemCleanScannerTest, StoppedScanIsMarkedInterrupted) {
  file("private/var/log/system.log");
  std::stop_source stop;
  stop.request_stop();
  const auto report = scanner.scan(SystemScanRequest{.stop = stop.get_token()});
  EXPECT_TRUE(report.interrupted);
  EXPECT_TRUE(report.candidates.empty());
}

// Without root rights the scan shows what it can read and names the folders it could not.
TEST_F(SystemCleanScannerTest, UnreadableFoldersAreReportedNotFatal) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to switch to another user";
  file("private/var/log/open.log");
  file("private/var/log/secret/hidden.log");
  tree.mode("private/var/log/secret", 0700);
  for (std::filesystem::path p = tree.path("private/var/log"); p != tree.root().parent_path(); p = p.parent_path()) {
    tree.mode(p.lexically_relative(tree.root()).string() == "." ? "" : p.lexically_relative(tree.root()).string(),
              0755);
  }
  ::chmod(tree.root().c_str(), 0755);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(3);
    const auto report = scanner.scan(SystemScanRequest{.privileged = true, .userDomain = false});
    const bool sawOpen = report.candidates.size() == 1 && report.candidates[0].path.ends_with("open.log");
    const bool namedSecret = report.unreadableFolders.size() == 1 && report.unreadableFolders[0].ends_with("secret");
    ::_exit(sawOpen && namedSecret ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

}  // namespace
}  // namespace tidyloom
