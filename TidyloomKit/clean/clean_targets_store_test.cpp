// Tests of rule-file decoding and validation: every failure with its message, defaults, shipped files.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "clean/clean_targets_store.h"
#include "l10n/l10n.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using nlohmann::json;

class CleanTargetsStoreTest : public ::testing::Test {
 protected:
  void SetUp() override { L10n::setLanguage(AppLanguage::simplifiedChinese); }
  void TearDown() override { L10n::setLanguage(AppLanguage::system); }
};

json minimal() { return json::parse(R"({"rules": [{"id": "userCaches", "relativePaths": ["Library/Caches"]}]})"); }

std::string failure(const json& document) {
  try {
    (void)CleanTargetsStore::decode(document.dump());
  } catch (const LoadError& e) {
    return e.message();
  } catch (const CleanTargetsStore::DecodingError& e) {
    return "decoding: " + e.message();
  }
  return "accepted";
}

struct RejectCase {
  const char* name;
  const char* patch;  // merged into the minimal document
  const char* message;
};

class RejectedRuleFile : public CleanTargetsStoreTest, public ::testing::WithParamInterface<RejectCase> {};

TEST_P(RejectedRuleFile, FailsWithTheMessageOfTheFirstBrokenRule) {
  json document = minimal();
  document.merge_patch(json::parse(GetParam().patch));
  EXPECT_EQ(failure(document), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RejectedRuleFile,
    ::testing::Values(
        RejectCase{"EmptyRules", R"({"rules": []})", "clean_targets.json 没有任何规则"},
        RejectCase{"SystemCachesIsNotARuleSection", R"({"rules": [{"id": "systemCaches", "relativePaths": ["x"]}]})",
                   "不支持的清理分组：systemCaches"},
        RejectCase{"RuleWithoutPaths", R"({"rules": [{"id": "userCaches"}]})", "清理分组 userCaches 没有任何路径"},
        RejectCase{"WildcardInLiteralPath",
                   R"({"rules": [{"id": "userCaches", "relativePaths": ["Library/Caches/*"]}]})",
                   "相对路径无效：Library/Caches/*"},
        RejectCase{"DotDotPattern", R"({"rules": [{"id": "userLogs", "relativePathPatterns": ["Library/../x"]}]})",
                   "相对路径无效：Library/../x"},
        RejectCase{"AbsoluteWithTrailingSlash", R"({"rules": [{"id": "trash", "absolutePaths": ["/tmp/"]}]})",
                   "绝对路径无效：/tmp/"},
        RejectCase{"FirstBrokenRuleWins",
                   R"({"rules": [{"id": "trash", "absolutePaths": ["/"]}, {"id": "nope", "relativePaths": ["x"]}]})",
                   "绝对路径无效：/"},
        RejectCase{"GateWithoutPaths", R"({"developerActivity": {"gates": [{"family": "xcode", "paths": []}]}})",
                   "清理分组 xcode 没有任何路径"},
        RejectCase{"UnknownFamily", R"({"productActivity": {"gates": [{"family": "netscape", "paths": ["a"]}]}})",
                   "不支持的进程分组：netscape"},
        RejectCase{"GatePathTrimmedBeforeReporting",
                   R"({"developerActivity": {"gates": [{"family": "rust", "paths": ["/abs/"]}]}})",
                   "相对路径无效：/abs"},
        RejectCase{
            "NegativeAge",
            R"({"ageGatedCaches": [{"relativeRoot": "Logs", "ageDays": -1, "maxDepth": 1, "section": "userLogs"}]})",
            "规则无效：Logs"},
        RejectCase{"EmptySuffix",
                   R"({"ageGatedCaches": [{"relativeRoot": "Logs", "fileSuffix": "", "ageDays": 1, "maxDepth": 1,
                       "section": "userLogs"}]})",
                   "规则无效：Logs"},
        RejectCase{"UnknownAgeSection",
                   R"({"ageGatedCaches": [{"relativeRoot": "Logs", "ageDays": 1, "maxDepth": 1, "section": "mail"}]})",
                   "规则无效：Logs"},
        RejectCase{"UncompilablePattern",
                   R"({"logFiles": {"projectLogs": {"namePattern": "(", "databaseNamePattern": "x",
                       "databaseDirectorySuffixes": [], "databaseDirectoryFragments": [], "skippedBundleExtensions": []},
                       "homebrewServiceLogs": {"namePattern": "x"}}})",
                   "规则无效：("},
        RejectCase{"EmptyHomebrewPattern",
                   R"({"logFiles": {"projectLogs": {"namePattern": "a", "databaseNamePattern": "x",
                       "databaseDirectorySuffixes": [], "databaseDirectoryFragments": [], "skippedBundleExtensions": []},
                       "homebrewServiceLogs": {"namePattern": ""}}})",
                   "规则无效："},
        RejectCase{
            "LeafNameWithSlash",
            R"({"browserCaches": {"profileRoots": [], "selectiveContainers": [], "cacheLeafNames": ["Cache/Data"]}})",
            "规则无效：Cache/Data"},
        RejectCase{"GameTitleEmpty",
                   R"({"gamePlatforms": {"targets": [{"root": "Games/*", "title": ""}], "ownedPathMarkers": []}})",
                   "规则无效：Games/*"},
        RejectCase{
            "GameMarkerWithWildcard",
            R"({"gamePlatforms": {"targets": [{"root": "Games/*", "title": "G"}], "ownedPathMarkers": ["Steam/*/"]}})",
            "相对路径无效：Steam/*"},
        RejectCase{"FirmwareBeforeMail", R"({"deviceFirmwareRoots": ["~/fw"], "mailDownloadRoots": ["/mail"]})",
                   "相对路径无效：~/fw"},
        RejectCase{
            "ToolboxRootAbsolute",
            R"({"versionedCaches": {"jetbrainsToolboxApps": "/apps", "agentVersions": [], "xcodeDeviceSupport": []}})",
            "相对路径无效：/apps"},
        RejectCase{"RulesCheckedBeforeGames",
                   R"({"rules": [{"id": "bad", "relativePaths": ["x"]}],
                       "gamePlatforms": {"targets": [{"root": "/g", "title": "G"}], "ownedPathMarkers": []}})",
                   "不支持的清理分组：bad"},
        RejectCase{"MissingRulesKey", R"({"rules": null})", "decoding: 规则文件缺少必需的键：rules"},
        RejectCase{"WrongType",
                   R"({"rules": [{"id": "userCaches", "relativePaths": ["a"], "recursiveContents": "yes"}]})",
                   "decoding: 规则文件中 rules[0].recursiveContents 的类型不对，应为布尔值"},
        RejectCase{"TypeErrorBeatsValidation",
                   R"({"rules": [{"id": "nope", "relativePaths": ["a"]}], "ageGatedCaches": [{"relativeRoot": "x",
                       "ageDays": 1.5, "maxDepth": 1, "section": "trash"}]})",
                   "decoding: 规则文件中 ageGatedCaches[0].ageDays 的类型不对，应为整数"},
        RejectCase{"MissingRequiredNestedKey", R"({"browserCaches": {"profileRoots": []}})",
                   "decoding: 规则文件缺少必需的键：browserCaches.selectiveContainers"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(CleanTargetsStoreTest, FileWithoutRulesOrNotJsonIsADecodingError) {
  EXPECT_EQ(failure(json::parse(R"({"gamePlatforms": null})")), "decoding: 规则文件缺少必需的键：rules");
  EXPECT_THROW((void)CleanTargetsStore::decode("{\"rules\": ["), CleanTargetsStore::DecodingError);
  EXPECT_THROW((void)CleanTargetsStore::decode("[]"), CleanTargetsStore::DecodingError);
}

TEST_F(CleanTargetsStoreTest, MessagesFollowTheDisplayLanguage) {
  L10n::setLanguage(AppLanguage::english);
  EXPECT_EQ(LoadError(LoadError::Kind::invalidEntry, "(").message(), "Invalid rule: (");
  EXPECT_EQ(LoadError(LoadError::Kind::missingFile).message(), "Cannot find clean_targets.json");
}

struct PathCase {
  const char* path;
  bool valid;
};

class RelativePathValidity : public ::testing::TestWithParam<PathCase> {};
TEST_P(RelativePathValidity, FollowsTheRules) {
  EXPECT_EQ(CleanTargetsStore::validRelativePath(GetParam().path), GetParam().valid) << GetParam().path;
}
INSTANTIATE_TEST_SUITE_P(Cases, RelativePathValidity,
                         ::testing::Values(PathCase{"Library/Caches", true}, PathCase{"Library/Caches/*", true},
                                           PathCase{".npm/_cacache", true}, PathCase{"a..b/c", true},
                                           PathCase{"", false}, PathCase{"~/Library", false},
                                           PathCase{"/Library", false}, PathCase{"Library/", false},
                                           PathCase{"Library//Caches", false}, PathCase{"Library/../x", false},
                                           PathCase{"./x", false}, PathCase{"Lib\trary", false},
                                           PathCase{"Lib\u200Brary", false}, PathCase{"Lib\xffrary", false}));

class AbsolutePathValidity : public ::testing::TestWithParam<PathCase> {};
TEST_P(AbsolutePathValidity, FollowsTheRules) {
  EXPECT_EQ(CleanTargetsStore::validAbsolutePath(GetParam().path), GetParam().valid) << GetParam().path;
}
INSTANTIATE_TEST_SUITE_P(Cases, AbsolutePathValidity,
                         ::testing::Values(PathCase{"/private/var/folders", true}, PathCase{"/tmp/*", true},
                                           PathCase{"/", false}, PathCase{"/tmp/", false}, PathCase{"tmp", false},
                                           PathCase{"/a//b", false}, PathCase{"/a/./b", false},
                                           PathCase{"/a/\nb", false}));

TEST_F(CleanTargetsStoreTest, AbsentSectionsTakeTheirDefaultsAndGatesKeepTheirSlash) {
  json document = minimal();
  document["rules"].push_back({{"id", "trash"}, {"relativePaths", {".Trash"}}, {"recursiveContents", true}});
  document["developerActivity"] = {{"gates", {{{"family", "xcode"}, {"paths", {"Library/Developer/Xcode/"}}}}}};
  document["futureKey"] = 42;
  const ScanRuleConfig config = CleanTargetsStore::decode(document.dump());
  ASSERT_EQ(config.cleanRules.size(), 2u);
  EXPECT_FALSE(config.cleanRules[0].recursiveContents);
  EXPECT_TRUE(config.cleanRules[1].recursiveContents);
  ASSERT_EQ(config.developerGates.size(), 1u);
  EXPECT_EQ(config.developerGates[0].family, DeveloperCacheActivity::Family::xcode);
  EXPECT_EQ(config.developerGates[0].paths, std::vector<std::string>{"Library/Developer/Xcode/"});
  EXPECT_TRUE(config.gameTargets.empty());
  EXPECT_FALSE(config.versionedCaches.jetbrainsToolboxApps);
  EXPECT_EQ(config.logFiles, ScanRuleConfig::LogFiles{});
  EXPECT_TRUE(config.browserCaches.cacheLeafNames.empty());
}

class ShippedRuleFile : public ::testing::TestWithParam<RulePlatform> {};
TEST_P(ShippedRuleFile, IsBuiltInAndValid) {
  const std::string_view data = CleanTargetsStore::embeddedRules(GetParam());
  ASSERT_FALSE(data.empty());
  const ScanRuleConfig config = CleanTargetsStore::decode(data);
  EXPECT_FALSE(config.cleanRules.empty());
  EXPECT_FALSE(config.logFiles.projectLogs.namePattern.empty());
}
INSTANTIATE_TEST_SUITE_P(Platforms, ShippedRuleFile,
                         ::testing::Values(RulePlatform::macOS, RulePlatform::linuxDesktop));

TEST_F(CleanTargetsStoreTest, LoadReadsTheGivenFileAndReportsAMissingOne) {
  testing::TempTree tree;
  tree.text("rules.json", minimal().dump());
  EXPECT_EQ(CleanTargetsStore{.fileURL = tree.path("rules.json")}.load().cleanRules.size(), 1u);
  try {
    (void)CleanTargetsStore{.fileURL = tree.path("absent.json")}.load();
    FAIL() << "a missing file must not load";
  } catch (const LoadError& e) {
    EXPECT_EQ(e.message(), "找不到 clean_targets.json");
  }
  EXPECT_THROW((void)CleanTargetsStore{.fileURL = tree.root()}.load(), LoadError);
}

}  // namespace
}  // namespace tidyloom
