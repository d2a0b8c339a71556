// Remover on real trees: order of events, vanished and refused paths, re-validation, cancellation,
// measured bytes, the permission retry, the fixture Trash and the Finder route (faked).
#include "removal/remover.h"

#include <gtest/gtest.h>

#include <stop_token>

#include "core/engine_error.h"
#include "l10n/l10n.h"
#include "removal/file_measure.h"
#include "testing/temp_tree.h"
#include "testing/test_fixtures.h"

namespace tidyloom {
namespace {

namespace fs = std::filesystem;
using testing::asTreeOwner;
using testing::TempTree;

class RemoverTest : public ::testing::Test {
 protected:
  void SetUp() override {
    L10n::setLanguage(AppLanguage::simplifiedChinese);
    roots = ScanRoots::fixture(tree.root());
    remover.progress = [this](const RemovalEvent& event) {
      if (const auto* started = std::get_if<RemovalStarted>(&event)) {
        events.push_back("started " + started->path);
      } else {
        const auto& finished = std::get<RemovalFinished>(event);
        events.push_back((finished.removed ? "removed " : "kept ") + finished.path);
      }
    };
    remover.trash = folderTrash(tree.path(".Trash"));
    remover.finderRoute = {};
  }
  void TearDown() override { L10n::setLanguage(AppLanguage::system); }

  RunReport run(const std::vector<std::string>& paths, RemovalMode mode = RemovalMode::permanent,
                bool stopOnFailure = false, const Remover::BeforeRemoval& before = {}) {
    return remover.remove(paths, mode, roots, RemovalScope::userData, stopOnFailure, before);
  }

  TempTree tree;
  ScanRoots roots;
  Remover remover;
  std::vector<std::string> events;
};

TEST_F(RemoverTest, PermanentRemovalDeletesTheTreeAndFreesItsMeasuredBytes) {
  tree.file("Caches/app/a.bin", 40000);
  tree.file("Caches/app/deep/b.bin", 9000);
  tree.hardlink("Caches/app/deep/b-again.bin", "Caches/app/deep/b.bin");
  tree.symlink("Caches/app/outside", tree.dir("Keep"));
  tree.file("Keep/precious.txt", 10);
  const std::string target = tree.path("Caches/app").string();
  const auto expected = FileMeasure::byteSize(target);

  const auto report = run({target});
  EXPECT_EQ(report.removed, std::vector<std::string>{target});
  EXPECT_TRUE(report.failed.empty());
  EXPECT_EQ(report.freedBytes, expected);
  EXPECT_FALSE(fs::exists(target));
  EXPECT_TRUE(fs::exists(tree.path("Keep/precious.txt")));
  EXPECT_EQ(events, (std::vector<std::string>{"started " + target, "removed " + target}));
}

TEST_F(RemoverTest, VanishedPathIsNeitherRemovedNorFailed) {
  const std::string gone = tree.path("Caches/gone").string();
  const auto report = run({gone});
  EXPECT_EQ(report, RunReport{});
  EXPECT_EQ(events, std::vector<std::string>{"removed " + gone});
}

TEST_F(RemoverTest, ARefusedPathFailsAndTheRunGoesOnUnlessToldToStop) {
  const std::string first = tree.file("Caches/one", 1).string();
  const std::string last = tree.file("Caches/two", 1).string();
  const auto report = run({first, "/usr/bin", last});
  EXPECT_EQ(report.removed, (std::vector<std::string>{first, last}));
  ASSERT_EQ(report.failed.size(), 1u);
  EXPECT_EQ(report.failed[0], (FailedPath{"/usr/bin", "受保护路径：/usr/bin"}));
  EXPECT_TRUE(report.notes.empty());
  EXPECT_TRUE(report.taskOutcomes.empty());

  tree.file("Caches/one", 1);
  tree.file("Caches/two", 1);
  const auto stopped = run({tree.root().string(), first, last}, RemovalMode::permanent, true);
  EXPECT_TRUE(stopped.removed.empty());
  EXPECT_EQ(stopped.failed, (std::vector<FailedPath>{{tree.root().string(), "不能删除家目录根路径"}}));
  EXPECT_TRUE(fs::exists(first));
}

TEST_F(RemoverTest, BeforeRemovalCanRefuseAPathAndNothingIsDeleted) {
  const std::string path = tree.file("Caches/changed.log", 100).string();
  const auto report = run({path}, RemovalMode::permanent, false, [](const std::string&) {
    throw EngineError::io(L10n::translate("系统清理路径已变化：%@", {"x"}));
  });
  EXPECT_EQ(report.failed, (std::vector<FailedPath>{{path, "系统清理路径已变化：x"}}));
  EXPECT_TRUE(fs::exists(path));
  EXPECT_EQ(events.back(), "kept " + path);
}

TEST_F(RemoverTest, AnItemSwappedAfterItWasCheckedIsLeftAlone) {
  tree.file("Caches/dir/a", 10);
  const std::string path = tree.path("Caches/dir").string();
  const auto report = run({path}, RemovalMode::permanent, false, [&](const std::string&) {
    fs::rename(path, tree.path("Caches/moved"));
    tree.file("Caches/dir/new-content", 10);
  });
  ASSERT_EQ(report.failed.size(), 1u);
  EXPECT_EQ(report.failed[0].reason, "无法删除：" + path + "（检查后已被替换，请重新扫描）");
  EXPECT_TRUE(fs::exists(tree.path("Caches/dir/new-content")));
  EXPECT_TRUE(fs::exists(tree.path("Caches/moved/a")));
}

TEST_F(RemoverTest, APathThatVanishesDuringItsRemovalIsNotReported) {
  const std::string path = tree.file("Caches/racing", 10).string();
  const auto report = run({path}, RemovalMode::permanent, false, [&](const std::string&) {
    fs::remove(path);
    throw EngineError::io("gone meanwhile");
  });
  EXPECT_EQ(report, RunReport{});
  EXPECT_EQ(events.back(), "removed " + path);
}

TEST_F(RemoverTest, AStopEndsTheRunWithAReportOfWhatWasHandled) {
  std::stop_source source;
  remover.cancellation = source.get_token();
  const std::string a = tree.file("Caches/a", 1).string();
  const std::string b = tree.file("Caches/b", 1).string();
  const std::string c = tree.file("Caches/c/x", 1).string();
  // Stopped while b is checked: a was handled, b and c were not.
  auto report =
      run({a, b, tree.path("Caches/c").string()}, RemovalMode::permanent, false, [&](const std::string& path) {
        if (path == b) source.request_stop();
      });
  EXPECT_TRUE(report.interrupted);
  EXPECT_EQ(report.removed, std::vector<std::string>{a});
  EXPECT_TRUE(report.failed.empty());
  EXPECT_FALSE(fs::exists(a));
  EXPECT_TRUE(fs::exists(b));
  EXPECT_TRUE(fs::exists(c));
  report = run({b});
  EXPECT_TRUE(report.interrupted);
  EXPECT_TRUE(report.removed.empty());
}

TEST_F(RemoverTest, TrashModeMovesItemsIntoTheFixtureTrashKeepingTheirNames) {
  const std::string first = tree.text("Caches/report.txt", "one").string();
  auto report = run({first}, RemovalMode::trash);
  EXPECT_EQ(report.removed, std::vector<std::string>{first});
  tree.text("Caches/report.txt", "two");
  tree.file("Caches/folder/x", 10);
  report = run({first, tree.path("Caches/folder").string()}, RemovalMode::trash);
  EXPECT_EQ(report.removed.size(), 2u);
  EXPECT_TRUE(fs::exists(tree.path(".Trash/report.txt")));
  EXPECT_TRUE(fs::exists(tree.path(".Trash/report 2.txt")));
  EXPECT_TRUE(fs::exists(tree.path(".Trash/folder/x")));
  EXPECT_GT(report.freedBytes, 0u);
}

TEST_F(RemoverTest, ReadOnlyFoldersOfTheUserAreMadeWritableAndRemovedOnRetry) {
  tree.file("Caches/mod/pkg@v1/go.mod", 10);
  tree.file("Caches/mod/pkg@v1/sub/x.go", 10);
  tree.mode("Caches/mod/pkg@v1/sub", 0555);
  tree.mode("Caches/mod/pkg@v1", 0555);
  const std::string path = tree.path("Caches/mod").string();
  EXPECT_TRUE(asTreeOwner(tree, [&] {
    const auto report = run({path});
    return report.removed.size() == 1 && !fs::exists(path);
  }));
}

class FinderRouteTest : public RemoverTest {
 protected:
  void SetUp() override {
    RemoverTest::SetUp();
    remover.applicationsFolder = tree.path("Applications").string();
    remover.trash = [](const platform::TrashRequest&) {
      return platform::TrashMove{std::make_error_code(std::errc::permission_denied)};
    };
    remover.finderRoute = [this](const std::string& path) {
      asked.push_back(path);
      if (deletes) fs::remove_all(path);
      return BoundedProbe::Result{true, status, false, "", ""};
    };
  }
  RunReport runApps(const std::vector<std::string>& paths) {
    return remover.remove(paths, RemovalMode::trash, roots, RemovalScope::uninstallApp, false);
  }
  std::vector<std::string> asked;
  int status = 0;
  bool deletes = true;
};

TEST_F(FinderRouteTest, ARootOwnedBundleInApplicationsGoesThroughFinder) {
  const std::string app = tree.file("Applications/Tool.app/Contents/Info.plist", 100).parent_path().parent_path();
  const auto report = runApps({app});
  EXPECT_EQ(asked, std::vector<std::string>{app});
  EXPECT_EQ(report.removed, std::vector<std::string>{app});
}

TEST_F(FinderRouteTest, ABundleElsewhereOrAPlainFolderNeverAsksFinder) {
  const std::string elsewhere = tree.dir("Apps/Tool.app").string();
  const std::string plain = tree.dir("Applications/Tool").string();
  const auto report = runApps({elsewhere, plain});
  EXPECT_TRUE(asked.empty());
  ASSERT_EQ(report.failed.size(), 2u);
  EXPECT_EQ(report.failed[0].reason, "无法移到废纸篓：" + elsewhere + "（权限不足）");
}

TEST_F(FinderRouteTest, FinderRefusalsAndStopsAreReportedAsTheyShouldBe) {
  const std::string app = tree.dir("Applications/Tool.app").string();
  status = 1;
  deletes = false;
  auto report = runApps({app});
  ASSERT_EQ(report.failed.size(), 1u);
  EXPECT_NE(report.failed[0].reason.find("系统设置 › 隐私与安全性 › 自动化"), std::string::npos);

  status = 0;
  report = runApps({app});
  EXPECT_EQ(report.failed, (std::vector<FailedPath>{{app, "访达未能将应用移到废纸篓：" + app}}));

  // A Finder run that was stopped (it ran out of time) fails that path only.
  status = 143;
  report = runApps({app});
  EXPECT_EQ(report.failed.size(), 1u);
  EXPECT_TRUE(fs::exists(app));
}

}  // namespace
}  // namespace tidyloom
