// Administrator removal: the real shell loop, batches with progress, quoting, and the recording runner.
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "core/atomic_write.h"
#include "core/engine_error.h"
#include "l10n/l10n.h"
#include "platform/admin_shell.h"
#include "removal/admin_path_remover.h"
#include "removal/admin_shell_session.h"
#include "removal/privileged_runner.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using testing::TempTree;
namespace fs = std::filesystem;
using namespace std::chrono_literals;

std::string messageOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const EngineError& error) {
    return error.message();
  }
  return "no error";
}

class AdminRemovalTest : public ::testing::Test {
 protected:
  void SetUp() override { L10n::setLanguage(AppLanguage::simplifiedChinese); }
  void TearDown() override { L10n::setLanguage(AppLanguage::system); }

  // The Linux protocol loop run without any prompt, as the current user.
  static std::shared_ptr<AdminShellSession> plainSession() {
    return std::make_shared<AdminShellSession>(
        platform::AdminShellLaunch{"/bin/sh", {"-c", platform::adminShellLoop()}, std::nullopt});
  }

  // The privileged removal entry of the built front end, confined to the test's tree.
  std::vector<std::string> removalCommand() const {
    return {testing::builtProgram("tidyloom").string(), "--fixture", tree_.root().string(), "admin-remove"};
  }

  TempTree tree_;
};

TEST(ShellQuotingTest, SingleQuotesEveryPathAndEscapesQuotesInside) {
  EXPECT_EQ(shellQuoted("/var/log/a b"), "'/var/log/a b'");
  EXPECT_EQ(shellQuoted("it's"), "'it'\\''s'");
  EXPECT_EQ(shellQuoted("$(reboot)`x`"), "'$(reboot)`x`'");
}

TEST(LineReaderTest, HandsOutCompleteLinesThenTheEnd) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  LineReader reader(ends[0]);
  ASSERT_EQ(::write(ends[1], "one\ntw", 6), 6);
  EXPECT_EQ(std::get<LineReader::Line>(reader.next(1s)).text, "one");
  EXPECT_TRUE(std::holds_alternative<LineReader::Timeout>(reader.next(50ms)));
  ASSERT_EQ(::write(ends[1], "o\n", 2), 2);
  ::close(ends[1]);
  EXPECT_EQ(std::get<LineReader::Line>(reader.next(1s)).text, "two");
  EXPECT_TRUE(std::holds_alternative<LineReader::End>(reader.next(1s)));
}

TEST_F(AdminRemovalTest, OneShellAnswersEveryCommandAndReportsFailuresWithTheirMessage) {
  auto session = plainSession();
  PrivilegedRunner runner(session);
  const auto marker = tree_.path("pids");
  runner.runAdmin("echo $PPID >> '" + marker.string() + "'");
  runner.runAdmin("echo $PPID >> '" + marker.string() + "'");
  std::string pids;
  ASSERT_TRUE(readWholeFile(marker, pids));
  const auto firstLine = pids.substr(0, pids.find('\n'));
  EXPECT_EQ(pids, firstLine + "\n" + firstLine + "\n");  // the same shell both times

  const auto message = messageOf([&] { runner.runAdmin("echo 'no \"such\" thing' >&2; exit 3"); });
  EXPECT_EQ(message, "no \"such\" thing");
  EXPECT_EQ(messageOf([&] { runner.runAdmin("exit 4"); }), "管理员授权失败或用户取消");
}

TEST_F(AdminRemovalTest, ADismissedPromptIsACancellationAndLeavesNoShellRunning) {
  PrivilegedRunner cancelled(
      std::make_shared<AdminShellSession>(platform::AdminShellLaunch{"/bin/sh", {"-c", "exit 126"}, 126}));
  EXPECT_EQ(messageOf([&] { cancelled.runAdmin("true"); }), "已取消管理员授权");
  PrivilegedRunner refused(std::make_shared<AdminShellSession>(platform::AdminShellLaunch{"/bin/false", {}, 126}));
  EXPECT_EQ(messageOf([&] { refused.runAdmin("true"); }), "管理员授权失败或用户取消");
}

TEST_F(AdminRemovalTest, ABatchReportsEachFinishedStepAndTheErrorsOfFailedOnes) {
  const auto scratch = tree_.dir("runtime");
  ::setenv("XDG_RUNTIME_DIR", scratch.c_str(), 1);
  PrivilegedRunner runner(plainSession());
  std::vector<std::string> finished;
  const auto errors = runner.runAdminBatch({{"1", "true"},
                                            {"2", "echo broken >&2; false"},
                                            {"3", "sleep 0.5; echo ignored"},
                                            {"4", "echo only a warning >&2"},
                                            {"5", "exit 7"}},
                                           [&](const std::string& id) { finished.push_back(id); });
  EXPECT_EQ(finished, (std::vector<std::string>{"1", "2", "3", "4", "5"}));
  // Only the exit status says a step failed; what it wrote says why.
  EXPECT_EQ(errors, (AdminStepErrors{{"2", "broken"}, {"5", "退出状态 7"}}));
  // The progress and error files were made in the private runtime folder and are gone afterwards.
  EXPECT_EQ(platform::adminScratchDirectory(), scratch.string());
  EXPECT_TRUE(fs::is_empty(scratch));
  ::unsetenv("XDG_RUNTIME_DIR");
}

TEST_F(AdminRemovalTest, RemovesQuotedPathsWithOnePromptAndMeasuresThem) {
  const auto quoted = tree_.file("Library/Caches/it's here/data", 8192).parent_path().string();
  const auto spaced = tree_.file("Library/Caches/two  spaces.log", 4096).string();
  PrivilegedRunner runner(plainSession());
  const RunReport report = AdminPathRemover(runner, removalCommand())
                               .remove({quoted, spaced}, ScanRoots::fixture(tree_.root()), RemovalScope::userData);
  EXPECT_EQ(report.removed, (std::vector<std::string>{quoted, spaced}));
  EXPECT_TRUE(report.failed.empty());
  EXPECT_GE(report.freedBytes, 12288u);
  EXPECT_FALSE(fs::exists(quoted));
  EXPECT_FALSE(fs::exists(spaced));
}

// Runs real commands but makes one chosen step fail the way a refused rm would.
class OneStepFails : public RecordingPrivilegedRunner {
 public:
  std::string failing;
  AdminStepErrors runAdminBatch(const std::vector<AdminStep>& steps,
                                const std::function<void(const std::string&)>& onStepFinished) override {
    std::vector<AdminStep> others;
    for (const auto& step : steps) {
      if (step.id != failing) others.push_back(step);
    }
    auto errors = RecordingPrivilegedRunner::runAdminBatch(others, onStepFinished);
    errors[failing] = "Operation not permitted";
    return errors;
  }
};

TEST_F(AdminRemovalTest, ABatchWhoseSecondPathFailsRemovesTheOthersAndAsksOnce) {
  const auto first = tree_.file("Library/Caches/a", 100).string();
  const auto second = tree_.file("Library/Caches/b", 100).string();
  const auto third = tree_.file("Library/Caches/c", 100).string();
  OneStepFails runner;
  runner.failing = "2";
  runner.executeAdminCommands = true;
  const RunReport report =
      AdminPathRemover(runner, removalCommand())
          .remove({first, second, third}, ScanRoots::fixture(tree_.root()), RemovalScope::userData);
  EXPECT_EQ(report.removed, (std::vector<std::string>{first, third}));
  EXPECT_EQ(report.failed, (std::vector<FailedPath>{{second, "管理员删除失败：Operation not permitted"}}));
  EXPECT_EQ(runner.authorizations, 1);
  EXPECT_TRUE(fs::exists(second));
}

TEST_F(AdminRemovalTest, RefusedPathsNeverReachTheShell) {
  const auto kept = tree_.file("Library/Caches/kept", 10).string();
  const auto lineFeed = tree_.file("Library/Caches/a\nb", 10).string();
  RecordingPrivilegedRunner runner;
  const RunReport report =
      AdminPathRemover(runner, removalCommand())
          .remove({"/etc/passwd", lineFeed, kept}, ScanRoots::fixture(tree_.root()), RemovalScope::userData,
                  [](const std::string& path) {
                    throw EngineError::protection(L10n::translate("系统清理路径已变化：%@", {path}));
                  });
  EXPECT_TRUE(runner.adminCommands.empty());
  EXPECT_EQ(runner.authorizations, 0);
  ASSERT_EQ(report.failed.size(), 3u);
  EXPECT_EQ(report.failed[1].reason, "路径包含控制字符：" + lineFeed);
  EXPECT_EQ(report.failed[2].reason, "系统清理路径已变化：" + kept);
}

TEST_F(AdminRemovalTest, AFinishedStepWhosePathRemainsIsReported) {
  const auto stubborn = tree_.file("Library/Caches/stubborn", 10).string();
  RecordingPrivilegedRunner runner;  // records, removes nothing
  const RunReport report = AdminPathRemover(runner, removalCommand())
                               .remove({stubborn}, ScanRoots::fixture(tree_.root()), RemovalScope::userData);
  EXPECT_EQ(report.failed, (std::vector<FailedPath>{{stubborn, "管理员删除后文件仍存在"}}));
  ASSERT_EQ(runner.adminCommands.size(), 1u);
  EXPECT_TRUE(runner.adminCommands[0].starts_with(shellQuoted(removalCommand()[0]))) << runner.adminCommands[0];
  EXPECT_TRUE(runner.adminCommands[0].ends_with(" -- " + shellQuoted(stubborn))) << runner.adminCommands[0];
  EXPECT_EQ(runner.adminCommands[0].find("rm -rf"), std::string::npos);
}

// Before the privileged side runs, the checked folder is swapped for a link to a folder outside.
class SwapsBeforeRunning : public RecordingPrivilegedRunner {
 public:
  fs::path folder, outside;
  AdminStepErrors runAdminBatch(const std::vector<AdminStep>& steps,
                                const std::function<void(const std::string&)>& onStepFinished) override {
    fs::rename(folder, folder.string() + ".moved");
    fs::create_symlink(outside, folder);
    return RecordingPrivilegedRunner::runAdminBatch(steps, onStepFinished);
  }
};

TEST_F(AdminRemovalTest, ThePrivilegedSideRemovesNothingWhenAFolderWasSwappedAfterTheCheck) {
  TempTree elsewhere;
  elsewhere.text("x", "precious");
  const auto checked = tree_.text("Library/Caches/app/x", "cache").string();
  SwapsBeforeRunning runner;
  runner.executeAdminCommands = true;
  runner.folder = tree_.path("Library/Caches/app");
  runner.outside = elsewhere.root();
  const RunReport report = AdminPathRemover(runner, removalCommand())
                               .remove({checked}, ScanRoots::fixture(tree_.root()), RemovalScope::userData);
  EXPECT_TRUE(report.removed.empty());
  ASSERT_EQ(report.failed.size(), 1u);
  EXPECT_EQ(testing::readText(elsewhere.path("x")), "precious");
  EXPECT_EQ(testing::readText(tree_.path("Library/Caches/app.moved/x")), "cache");
}

TEST(RecordingRunnerTest, CountsOneAuthorisationPerBatchAndPerCommand) {
  RecordingPrivilegedRunner runner;
  std::vector<std::string> finished;
  runner.runAdminBatch({{"a", "true"}, {"b", "true"}}, [&](const std::string& id) { finished.push_back(id); });
  runner.runAdmin("true");
  runner.runUser("/bin/echo", {"hi"});
  EXPECT_EQ(runner.authorizations, 2);
  EXPECT_EQ(runner.adminCommands, (std::vector<std::string>{"true", "true", "true"}));
  EXPECT_EQ(finished, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(runner.userCommands.size(), 1u);

  runner.shouldFailAdmin = true;
  EXPECT_EQ(messageOf([&] { runner.runAdmin("true"); }), "stub admin failure");
  runner.shouldFailAdmin = false;
  runner.executeAdminCommands = true;
  EXPECT_EQ(messageOf([&] { runner.runAdmin("exit 3"); }), "stub admin execution failed (3)");
}

}  // namespace
}  // namespace tidyloom
