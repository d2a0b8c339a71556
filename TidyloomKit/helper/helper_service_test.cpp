// The daemon's service on real files: every path re-checked, measured, deleted; reasons localised.
#include <gtest/gtest.h>

#include <set>

#include "core/engine_error.h"
#include "helper/helper_service.h"
#include "l10n/l10n.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using testing::TempTree;
namespace fs = std::filesystem;

// A scanner that offers a fixed set of paths and re-checks against the same set.
class FixedScan : public PrivilegedScanSource {
 public:
  std::vector<CleanupCandidate> rows;
  std::set<std::string> offered;
  std::vector<CleanupCandidate> scanPrivileged(bool includesRebuildableCaches) const override {
    auto out = rows;
    if (!includesRebuildableCaches) std::erase_if(out, [](const auto& row) { return row.section == "rebuildable"; });
    return out;
  }
  void assertPrivilegedRemovableNow(const std::string& path) const override {
    if (!offered.contains(path)) throw EngineError::protection(L10n::translate("路径不属于系统清理目标：%@", {path}));
  }
};

class HelperServiceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    L10n::setLanguage(AppLanguage::simplifiedChinese);
    scan_ = std::make_shared<FixedScan>();
  }
  void TearDown() override { L10n::setLanguage(AppLanguage::system); }

  PrivilegedHelperService service() const {
    return PrivilegedHelperService(ScanRoots::fixture(tree_.root()), scan_, activity_);
  }
  std::string offer(const std::string& relative, std::uint64_t size) {
    const auto path = tree_.file(relative, size).string();
    scan_->offered.insert(path);
    return path;
  }

  TempTree tree_;
  std::shared_ptr<FixedScan> scan_;
  PrivilegedHelperActivityRef activity_ = std::make_shared<PrivilegedHelperActivity>();
};

TEST_F(HelperServiceTest, ScanRepliesWithTheScannersRowsInOrderWithoutTheRemovableFlag) {
  scan_->rows = {{"/b", "systemCaches", 2, true}, {"/a", "rebuildable", 1, true}};
  EXPECT_EQ(
      service().scanSystem(true).bytes,
      R"([{"byteSize":2,"path":"/b","section":"systemCaches"},{"byteSize":1,"path":"/a","section":"rebuildable"}])");
  EXPECT_EQ(service().scanSystem(false).bytes, R"([{"byteSize":2,"path":"/b","section":"systemCaches"}])");
}

TEST_F(HelperServiceTest, AnEmptyScanIsTheEmptyArray) {
  const auto reply = service().scanSystem(false);
  EXPECT_EQ(reply, (HelperReply{std::string("[]"), std::nullopt}));
}

TEST_F(HelperServiceTest, RemovalDeletesOfferedPathsPermanentlyAndAddsTheirMeasuredSizes) {
  const auto log = offer("private/var/log/old.log", 10000);
  const auto folder = tree_.dir("private/var/db/diagnostics/old").string();
  tree_.file("private/var/db/diagnostics/old/a", 5000);
  scan_->offered.insert(folder);
  const RunReport report = service().remove({log, folder});
  EXPECT_EQ(report.removed, (std::vector<std::string>{log, folder}));
  EXPECT_TRUE(report.failed.empty());
  EXPECT_GE(report.freedBytes, 15000u);
  EXPECT_FALSE(fs::exists(log));
  EXPECT_FALSE(fs::exists(folder));
  EXPECT_FALSE(fs::exists(tree_.path(".Trash")));  // never to the Trash
}

TEST_F(HelperServiceTest, APathWithALineFeedFailsAndTheOthersGoOn) {
  const auto first = offer("private/var/log/a.log", 100);
  const auto tricky = offer("private/var/log/b\n.log", 100);
  const auto last = offer("private/var/log/c.log", 100);
  const RunReport report = service().remove({first, tricky, last});
  EXPECT_EQ(report.removed, (std::vector<std::string>{first, last}));
  ASSERT_EQ(report.failed.size(), 1u);
  EXPECT_EQ(report.failed[0], (FailedPath{tricky, "路径包含控制字符：" + tricky}));
  EXPECT_TRUE(fs::exists(tricky));
}

TEST_F(HelperServiceTest, ProtectedAndNoLongerOfferedPathsAreRefusedAndKept) {
  const auto stale = tree_.file("private/var/log/stale.log", 100).string();
  scan_->offered.insert("/etc/passwd");
  const RunReport report = service().remove({"/etc/passwd", stale});
  ASSERT_EQ(report.failed.size(), 2u);
  EXPECT_EQ(report.failed[0].path, "/etc/passwd");
  EXPECT_EQ(report.failed[1].reason, "路径不属于系统清理目标：" + stale);
  EXPECT_TRUE(fs::exists("/etc/passwd"));
  EXPECT_TRUE(fs::exists(stale));
}

TEST_F(HelperServiceTest, TheRequestsLanguageIsUsedForEveryReason) {
  const auto stale = tree_.file("private/var/log/stale.log", 100).string();
  const auto reply = service().removeSystemPaths({stale}, "en");
  ASSERT_TRUE(reply.bytes);
  const auto removal = decodeRemoval(*reply.bytes);
  ASSERT_EQ(removal.failed.size(), 1u);
  EXPECT_EQ(removal.failed[0].reason, "Path is not a system clean target: " + stale);
  // An unknown language means English; `system` keeps the daemon's current one.
  L10n::setLanguage(AppLanguage::simplifiedChinese);
  EXPECT_NE(decodeRemoval(*service().removeSystemPaths({stale}, "xx").bytes).failed[0].reason.find("Path"),
            std::string::npos);
  L10n::setLanguage(AppLanguage::simplifiedChinese);
  EXPECT_NE(decodeRemoval(*service().removeSystemPaths({stale}, "system").bytes).failed[0].reason.find("路径"),
            std::string::npos);
}

TEST_F(HelperServiceTest, EachRequestCountsInTheActivityForItsDuration) {
  scan_->rows = {{"/b", "systemCaches", 2, true}};
  (void)service().scanSystem(false);
  (void)service().removeSystemPaths({}, "en");
  EXPECT_EQ(activity_->active(), 0);
  EXPECT_TRUE(activity_->isIdle(0));
}

TEST_F(HelperServiceTest, AStoppedRemovalLeavesTheRemainingPathsAloneAndReportsThemFailed) {
  const auto first = offer("private/var/log/a.log", 100);
  const auto second = offer("private/var/log/b.log", 100);
  const auto third = offer("private/var/log/c.log", 100);
  int asked = 0;
  const RunReport report = service().remove({first, second, third}, [&] { return ++asked > 1; });
  EXPECT_EQ(report.removed, std::vector<std::string>{first});
  EXPECT_EQ(report.failed,
            (std::vector<FailedPath>{{second, "删除已停止，未处理此路径"}, {third, "删除已停止，未处理此路径"}}));
  EXPECT_TRUE(fs::exists(second));
}

TEST_F(HelperServiceTest, EveryRequestedPathEndsRemovedOrFailedEvenOneThatVanished) {
  const auto vanished = offer("private/var/log/gone.log", 100);
  const auto kept = offer("private/var/log/kept.log", 100);
  fs::remove(vanished);
  const RunReport report = service().remove({vanished, kept, "/etc/passwd"}, {});
  EXPECT_EQ(report.removed, (std::vector<std::string>{vanished, kept}));
  ASSERT_EQ(report.failed.size(), 1u);
  EXPECT_EQ(report.failed[0].path, "/etc/passwd");
}

}  // namespace
}  // namespace tidyloom
