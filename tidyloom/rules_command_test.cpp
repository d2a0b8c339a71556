// End-to-end tests of `tidyloom rules check` with the built program.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "clean/clean_targets_store.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using testing::builtProgram;
using testing::runProgram;

class RulesCheckTest : public ::testing::Test {
 protected:
  testing::TempTree tree;
  testing::CommandResult check(const std::string& contents, std::vector<std::string> options = {"--lang", "zh-Hans"}) {
    tree.text("clean_targets.json", contents);
    options.insert(options.begin(), {"rules", "check", tree.path("clean_targets.json").string()});
    return runProgram(builtProgram("tidyloom"), options);
  }
};

TEST_F(RulesCheckTest, ShippedRuleFilesPass) {
  for (const RulePlatform platform : {RulePlatform::macOS, RulePlatform::linuxDesktop}) {
    const auto result = check(std::string(CleanTargetsStore::embeddedRules(platform)), {"--json", "--lang", "zh-Hans"});
    ASSERT_EQ(result.status, 0) << result.err;
    const auto document = nlohmann::json::parse(result.out);
    EXPECT_EQ(document["ok"], true);
    EXPECT_GT(document["rules"].get<int>(), 3);
  }
}

TEST_F(RulesCheckTest, NumbersBeyondADoubleAreAnErrorNotACrash) {
  for (const char* number : {"1e400", "-1e400", "1E+309"}) {
    const std::string rules = std::string(R"({"rules": [], "ageGatedCaches": [{"ageDays": )") + number + "}]}";
    auto result = check(rules, {"--json", "--lang", "en"});
    EXPECT_EQ(result.status, 1) << number << result.err;
    EXPECT_EQ(nlohmann::json::parse(result.out)["error"], "The rule file holds a number out of range") << number;
    tree.text("clean_targets.json", rules);
    result = runProgram(builtProgram("tidyloom"), {"--lang", "en", "--fixture", tree.root().string(), "clean",
                                                   "--dry-run", "--rules", tree.path("clean_targets.json").string()});
    EXPECT_EQ(result.status, 1) << number << result.err;
    EXPECT_NE(result.err.find("out of range"), std::string::npos) << result.err;
  }
}

TEST_F(RulesCheckTest, FirstErrorIsPrintedExactlyAndExitsOne) {
  auto result =
      check(R"({"rules": [{"id": "systemCaches", "relativePaths": ["x"]}]})", {"--json", "--lang", "zh-Hans"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(nlohmann::json::parse(result.out),
            (nlohmann::json{{"ok", false}, {"error", "不支持的清理分组：systemCaches"}}));

  result = check(R"({"rules": []})");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_NE(result.err.find("clean_targets.json 没有任何规则"), std::string::npos) << result.err;
}

TEST_F(RulesCheckTest, SummaryListsTheSectionsInEnglish) {
  const auto result = check(R"({"rules": [{"id": "trash", "relativePaths": [".Trash"], "recursiveContents": true}]})",
                            {"--lang", "en"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("The rule file is valid"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("trash"), std::string::npos);
  EXPECT_NE(result.out.find("contents"), std::string::npos);
}

TEST_F(RulesCheckTest, MissingFileAndNoFileArgument) {
  auto result = runProgram(builtProgram("tidyloom"),
                           {"--json", "--lang", "zh-Hans", "rules", "check", tree.path("absent.json").string()});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(nlohmann::json::parse(result.out)["error"], "找不到 clean_targets.json");
  // Without FILE the rules this machine uses are checked; with --fixture the macOS rules.
  result = runProgram(builtProgram("tidyloom"), {"--json", "--fixture", tree.root().string(), "rules", "check"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(runProgram(builtProgram("tidyloom"), {"rules"}).status, 2);
}

}  // namespace
}  // namespace tidyloom
