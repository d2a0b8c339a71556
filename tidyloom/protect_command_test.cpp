// End-to-end tests of `tidyloom protect` and `tidyloom whitelist` on fixture trees.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using testing::builtProgram;
using testing::runProgram;

class ProtectionCommandsTest : public ::testing::Test {
 protected:
  testing::CommandResult tidyloom(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--fixture", tree.root().string()});
    return runProgram(builtProgram("tidyloom"), arguments);
  }
  testing::TempTree tree;
};

TEST_F(ProtectionCommandsTest, ProtectPrintsOneRowPerPathAndExitsOneWhenAnyIsRefused) {
  const std::string home = tree.root().string();
  auto result = tidyloom({"--json", "--lang", "zh-Hans", "protect", home + "/Caches/x", home + "/Desktop", "/usr/lib"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(nlohmann::json::parse(result.out),
            nlohmann::json::parse(
                R"([{"path":")" + home + R"(/Caches/x","allowed":true,"message":null},)" + R"({"path":")" + home +
                R"(/Desktop","allowed":false,"message":"受保护路径：)" + home +
                R"(/Desktop"},{"path":"/usr/lib","allowed":false,"message":"路径超出允许范围：/usr/lib"}])"));
  result = tidyloom({"--json", "protect", "--scope", "userData", home + "/Desktop"});
  EXPECT_EQ(result.status, 0) << result.out;
  result = tidyloom({"--lang", "en", "protect", "--scope", "externalVolume", home + "/Systemx"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.out.find("External volume cleaning refuses the system root path"), std::string::npos);
}

TEST_F(ProtectionCommandsTest, WhitelistShowsDefaultsUntilEditedAndKeepsThemWhenAPatternIsAdded) {
  auto result = tidyloom({"--json", "whitelist"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(nlohmann::json::parse(result.out).size(), 20u);
  EXPECT_EQ(nlohmann::json::parse(tidyloom({"--json", "whitelist", "show", "--stored"}).out).size(), 0u);

  result = tidyloom({"--json", "--lang", "en", "whitelist", "add", "~/Projects/keep*"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.err.find("Added to the whitelist: ~/Projects/keep*"), std::string::npos);
  EXPECT_EQ(nlohmann::json::parse(tidyloom({"--json", "whitelist", "show", "--stored"}).out).size(), 14u);

  const std::string home = tree.root().string();
  result = tidyloom({"--json", "whitelist", "check", home + "/Projects/keeper/src", home + "/Projects/other"});
  EXPECT_EQ(nlohmann::json::parse(result.out),
            nlohmann::json::parse(R"([{"path":")" + home + R"(/Projects/keeper/src","protected":true},)" +
                                  R"({"path":")" + home + R"(/Projects/other","protected":false}])"));

  EXPECT_EQ(tidyloom({"whitelist", "remove", "$HOME/Projects/keep*"}).status, 0);
  result = tidyloom({"--lang", "zh-Hans", "whitelist", "remove", "~/Projects/keep*"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("白名单中没有：~/Projects/keep*"), std::string::npos) << result.err;
}

TEST_F(ProtectionCommandsTest, AnEmptyWhitelistFileLeavesOnlyTheSafetyPatterns) {
  tree.text("Library/Application Support/Tidyloom/whitelist.json", "[]");
  const auto result = tidyloom({"--json", "whitelist", "check", tree.path("Library/Caches/kitty/x").string(),
                                tree.path(".gradle/caches/y").string()});
  const auto rows = nlohmann::json::parse(result.out);
  EXPECT_EQ(rows[0]["protected"], true);
  EXPECT_EQ(rows[1]["protected"], false);
}

TEST_F(ProtectionCommandsTest, AnUndecodableWhitelistIsKeptAsideBeforeItIsRewritten) {
  const auto file = tree.path("Library/Application Support/Tidyloom/whitelist.json");
  const std::string damaged = R"(["~/Projects/keep", "~/Secret)";
  // Kept behind a link, with private permissions, as a careful user might.
  tree.text("dotfiles/whitelist.json", damaged);
  tree.mode("dotfiles/whitelist.json", 0600);
  std::filesystem::create_directories(file.parent_path());
  std::filesystem::create_symlink(tree.path("dotfiles/whitelist.json"), file);

  auto result = tidyloom({"--lang", "en", "whitelist", "add", "~/Other"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.err.find("its bytes were kept as"), std::string::npos) << result.err;
  std::vector<std::filesystem::path> kept;
  for (const auto& entry : std::filesystem::directory_iterator(tree.path("dotfiles"))) {
    if (entry.path().filename().string().starts_with("whitelist.json.corrupt-")) kept.push_back(entry.path());
  }
  ASSERT_EQ(kept.size(), 1u);
  EXPECT_EQ(testing::readText(kept[0]), damaged);
  EXPECT_TRUE(std::filesystem::is_symlink(file));
  EXPECT_EQ(std::filesystem::status(file).permissions() & std::filesystem::perms::all,
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  EXPECT_EQ(nlohmann::json::parse(testing::readText(file)), nlohmann::json::parse(R"(["~/Other"])"));
  // Said once: the file is whole again, so the next write keeps nothing more aside.
  result = tidyloom({"--lang", "en", "whitelist", "add", "~/More"});
  EXPECT_EQ(result.err.find("kept as"), std::string::npos) << result.err;
}

}  // namespace
}  // namespace tidyloom
