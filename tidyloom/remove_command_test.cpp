// End-to-end tests of `tidyloom remove` on fixture trees and on the live Trash of a temporary home.
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include <nlohmann/json.hpp>

#include "testing/private_mounts.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

namespace fs = std::filesystem;
using testing::builtProgram;
using testing::runProgram;

class RemoveCommandTest : public ::testing::Test {
 protected:
  testing::CommandResult tidyloom(std::vector<std::string> arguments, const std::string& input = {},
                                  const std::vector<std::string>& environment = {}) {
    arguments.insert(arguments.begin(), {"--fixture", tree.root().string()});
    return runProgram(builtProgram("tidyloom"), arguments, input, 120, environment);
  }
  testing::TempTree tree;
};

TEST_F(RemoveCommandTest, WithoutYesItListsThePlanAndDecliningRemovesNothing) {
  tree.file("Caches/app/blob.bin", 50000);
  const std::string app = tree.path("Caches/app").string();
  const auto result =
      tidyloom({"--lang", "zh-Hans", "remove", "--permanent", app, tree.path("Documents").string()}, "n\n");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.err.find(app), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("kB"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("永久删除，无法撤销"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("永久删除 1 项？此操作无法撤销。"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("未删除任何内容。"), std::string::npos) << result.err;
  EXPECT_TRUE(fs::exists(tree.path("Caches/app/blob.bin")));
}

TEST_F(RemoveCommandTest, ConfirmedRemovalGoesToTheFixtureTrashAndRefusedPathsAreReported) {
  tree.text("Caches/one.log", "1");
  tree.dir("Documents");
  const auto result = tidyloom({"--json", "--lang", "zh-Hans", "remove", tree.path("Caches/one.log").string(),
                                tree.path("Documents").string(), tree.path("Caches/absent").string()},
                               "y\n");
  EXPECT_EQ(result.status, 1) << result.err;
  const auto report = nlohmann::json::parse(result.out);
  EXPECT_EQ(report["removed"], nlohmann::json::array({tree.path("Caches/one.log").string()}));
  EXPECT_EQ(report["failed"],
            nlohmann::json::parse(R"([{"path":")" + tree.path("Documents").string() + R"(","reason":"受保护路径：)" +
                                  tree.path("Documents").string() + R"("}])"));
  EXPECT_TRUE(fs::exists(tree.path(".Trash/one.log")));
  EXPECT_TRUE(fs::exists(tree.path("Documents")));
}

TEST_F(RemoveCommandTest, ControlCharactersAreShownEscapedAndRefusedWhileOtherPathsGoOn) {
  const std::string odd = tree.text("Caches/bad\nname", "x").string();
  tree.text("Caches/fine", "x");
  const auto result =
      tidyloom({"--lang", "en", "remove", "--yes", "--permanent", odd, tree.path("Caches/fine").string()});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.out.find("Path contains control characters: " + tree.path("Caches").string() + "/bad\\nname"),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("Deleted 1 items permanently"), std::string::npos) << result.out;
  EXPECT_TRUE(fs::exists(odd));
  EXPECT_FALSE(fs::exists(tree.path("Caches/fine")));
}

TEST_F(RemoveCommandTest, RelativePathsAreTakenFromTheWorkingDirectory) {
  tree.text("Caches/rel.txt", "x");
  const auto result =
      runProgram("/bin/sh", {"-c", "cd \"$1\" && exec \"$2\" --fixture \"$3\" --json remove --yes rel.txt", "sh",
                             tree.path("Caches").string(), builtProgram("tidyloom").string(), tree.root().string()});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(nlohmann::json::parse(result.out)["removed"][0], tree.path("Caches/rel.txt").string());
  EXPECT_TRUE(fs::exists(tree.path(".Trash/rel.txt")));
}

TEST_F(RemoveCommandTest, ScopeAndStopOnFailureShapeTheRun) {
  tree.text("Caches/a", "x");
  tree.text("Caches/b", "x");
  tree.dir("Applications");
  auto result = tidyloom({"--json", "remove", "--yes", "--scope", "uninstallApp", "--stop-on-failure",
                          tree.path("Applications").string(), tree.path("Caches/a").string()});
  EXPECT_EQ(result.status, 1);
  const auto report = nlohmann::json::parse(result.out);
  EXPECT_EQ(report["removed"].size(), 0u);
  EXPECT_EQ(report["failed"].size(), 1u);
  EXPECT_TRUE(fs::exists(tree.path("Caches/a")));

  result = tidyloom({"remove", "--scope", "everything", tree.path("Caches/b").string()});
  EXPECT_EQ(result.status, 2);
  result = tidyloom({"remove", "--trash", "--permanent", tree.path("Caches/b").string()});
  EXPECT_EQ(result.status, 2);
}

TEST_F(RemoveCommandTest, AFixtureRunLeavesEverythingOutsideItsFolderUntouched) {
  testing::TempTree outside;
  outside.text("v", "precious");
  outside.text("Library/Caches/c", "precious");
  for (const char* mode : {"--permanent", "--trash"}) {
    for (const char* scope : {"userSelected", "userData"}) {
      const auto result = tidyloom({"--json", "remove", mode, "--scope", scope, "--yes", outside.path("v").string(),
                                    outside.path("Library/Caches/c").string(), "/etc/hostname"});
      EXPECT_EQ(result.status, 1) << mode << scope << result.err;
      EXPECT_EQ(nlohmann::json::parse(result.out)["removed"].size(), 0u) << result.out;
    }
  }
  EXPECT_EQ(testing::readText(outside.path("v")), "precious");
  EXPECT_EQ(testing::readText(outside.path("Library/Caches/c")), "precious");
  EXPECT_FALSE(fs::exists(tree.path(".Trash")));
  // Nor is anything outside read: scans of outside folders are refused.
  for (const std::vector<std::string>& scan : {std::vector<std::string>{"analyze", outside.root().string()},
                                               {"lens", outside.root().string()},
                                               {"lens", "--list", outside.root().string()},
                                               {"large", outside.root().string()},
                                               {"dupes", outside.root().string()}}) {
    const auto result = tidyloom(scan);
    EXPECT_EQ(result.status, 2) << scan[0] << result.out << result.err;
  }
}

TEST_F(RemoveCommandTest, ARemovalIsRecordedInTheHistory) {
  tree.file("Caches/big.bin", 20000);
  const auto result = tidyloom({"--json", "remove", "--yes", "--permanent", tree.path("Caches/big.bin").string()});
  ASSERT_EQ(result.status, 0) << result.err;
  const auto history = runProgram(builtProgram("tidyloom"), {"--fixture", tree.root().string(), "--json", "history"});
  const auto entries = nlohmann::json::parse(history.out);
  ASSERT_EQ(entries.size(), 1u) << history.out;
  EXPECT_EQ(entries[0]["feature"], "remove");
  EXPECT_EQ(entries[0]["mode"], "permanent");
}

// Without --fixture the real Trash of the real home is used (a private /root stands in for it):
// XDG_DATA_HOME moves it within that home, never out of it.
TEST(RemoveCommandLive, ItemsGoToTheFreedesktopTrashOfTheRealHomesDataFolder) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root for a private mount namespace";
  testing::TempTree elsewhere;
  const auto outcome = testing::inPrivateMounts({"/root"}, [&] {
    const auto removed = [&](const std::string& name, const std::string& dataHome) {
      const std::string file = "/root/work/" + name;
      fs::create_directories("/root/work");
      std::ofstream(file) << "draft";
      const auto result = runProgram(builtProgram("tidyloom"), {"--json", "remove", "--yes", file}, "", 120,
                                     {"HOME=" + elsewhere.root().string(), "XDG_DATA_HOME=" + dataHome});
      return result.status == 0 && !fs::exists(file);
    };
    return removed("a.txt", "/root/data") && fs::exists("/root/data/Trash/files/a.txt") &&
           fs::exists("/root/data/Trash/info/a.txt.trashinfo") && removed("b.txt", elsewhere.path("data").string()) &&
           fs::exists("/root/.local/share/Trash/files/b.txt");
  });
  if (!outcome) GTEST_SKIP() << "no private mount namespace here";
  EXPECT_TRUE(*outcome);
  EXPECT_TRUE(fs::is_empty(elsewhere.root()));
}

// Ctrl-C in the middle of a long removal: the path in hand finishes, the partial report is printed
// as one document marked interrupted, and the history records what was handled.
TEST(RemoveInterruptTest, CtrlCPrintsThePartialReportAndRecordsItInTheHistory) {
  testing::TempTree tree;
  std::vector<std::string> arguments{"--fixture", tree.root().string(), "--json", "remove", "--yes", "--permanent"};
  for (int i = 0; i < 4000; ++i) {
    const std::string folder = "work/f" + std::to_string(i);
    for (int j = 0; j < 4; ++j) tree.file(folder + "/file" + std::to_string(j), 10);
    arguments.push_back(tree.path(folder).string());
  }
  const auto result = testing::runProgramInterrupted(builtProgram("tidyloom"), arguments,
                                                     [&] { return !std::filesystem::exists(tree.path("work/f20")); });
  ASSERT_EQ(result.status, 130) << result.err;
  const auto report = nlohmann::json::parse(result.out);
  EXPECT_TRUE(report["interrupted"].get<bool>());
  const auto removed = report["removed"].get<std::vector<std::string>>();
  EXPECT_GE(removed.size(), 21u);
  EXPECT_LT(removed.size(), 4000u);
  for (const auto& path : removed) EXPECT_FALSE(std::filesystem::exists(path)) << path;
  // Nothing is gone that the report does not name, and nothing is half gone.
  size_t gone = 0;
  for (size_t i = 6; i < arguments.size(); ++i) {
    if (!std::filesystem::exists(arguments[i])) {
      ++gone;
    } else {
      EXPECT_EQ(std::distance(std::filesystem::directory_iterator(arguments[i]), {}), 4) << arguments[i];
    }
  }
  EXPECT_EQ(gone, removed.size());

  const auto history = runProgram(builtProgram("tidyloom"), {"--fixture", tree.root().string(), "--json", "history"});
  const auto entries = nlohmann::json::parse(history.out);
  ASSERT_EQ(entries.size(), 1u) << history.out;
  EXPECT_EQ(entries[0]["itemCount"], removed.size() + report["failed"].size());
}

}  // namespace
}  // namespace tidyloom
