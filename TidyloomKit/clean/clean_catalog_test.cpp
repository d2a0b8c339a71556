// Tests of path-pattern expansion on real trees, log-name matching and the smart clean's narrowing.
#include <gtest/gtest.h>

#include <algorithm>

#include "clean/clean_catalog.h"
#include "clean/path_pattern.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

std::vector<std::string> relativeNames(const std::vector<std::filesystem::path>& paths,
                                       const std::filesystem::path& home) {
  std::vector<std::string> out;
  for (const auto& path : paths) out.push_back(path.lexically_relative(home).string());
  std::sort(out.begin(), out.end());
  return out;
}

TEST(PathPatternTest, WildcardMatchesWithinOneComponentAndNeverThroughLinksOrHiddenEntries) {
  testing::TempTree tree;
  tree.file("Library/Application Support/Foo/Cache/a", 10);
  tree.file("Library/Application Support/Bar Baz/Cache/b", 10);
  tree.file("Library/Application Support/.Hidden/Cache/c", 10);
  tree.file("Library/Application Support/NoCache/Other/d", 10);
  tree.file("outside/Cache/e", 10);
  tree.symlink("Library/Application Support/Linked", tree.path("outside"));
  tree.symlink("Library/Application Support/Qux", tree.path("outside/Cache"));
  tree.dir("Library/Application Support/Qux2");
  tree.symlink("Library/Application Support/Qux2/Cache", tree.path("outside/Cache"));

  const auto found = expandRelativePathPattern("Library/Application Support/*/Cache", tree.root());
  EXPECT_EQ(relativeNames(found, tree.root()), (std::vector<std::string>{"Library/Application Support/Bar Baz/Cache",
                                                                         "Library/Application Support/Foo/Cache"}));
}

TEST(PathPatternTest, HiddenComponentsMatchHiddenEntriesAndMetacharactersAreLiteral) {
  testing::TempTree tree;
  tree.file(".cache/pip/x", 1);
  tree.file(".cache/a+b(1)/x", 1);
  tree.file(".cache/aab1/x", 1);
  tree.file("snap/firefox/common/.cache/y", 1);
  EXPECT_EQ(relativeNames(expandRelativePathPattern(".cache/*", tree.root()), tree.root()),
            (std::vector<std::string>{".cache/a+b(1)", ".cache/aab1", ".cache/pip"}));
  EXPECT_EQ(relativeNames(expandRelativePathPattern(".cache/a+b(*)", tree.root()), tree.root()),
            std::vector<std::string>{".cache/a+b(1)"});
  EXPECT_EQ(relativeNames(expandRelativePathPattern("snap/*/common/.cache", tree.root()), tree.root()),
            std::vector<std::string>{"snap/firefox/common/.cache"});
  EXPECT_EQ(relativeNames(expandRelativePathPattern("snap/*/common/*", tree.root()), tree.root()),
            std::vector<std::string>{});
}

TEST(PathPatternTest, MalformedPatternsAndMissingFoldersGiveNothing) {
  testing::TempTree tree;
  tree.file("a/b/c", 1);
  for (const char* pattern : {"", "/", "/a/*", "a/../a/*", "./a", "missing/*", "a/b/c/*"}) {
    EXPECT_TRUE(expandRelativePathPattern(pattern, tree.root()).empty()) << pattern;
  }
  EXPECT_EQ(expandRelativePathPattern("a//b", tree.root()).size(), 1u);
}

TEST(LogFilesTest, MatchesAnywhereInTheNameUnlessThePatternAnchors) {
  using LogFiles = ScanRuleConfig::LogFiles;
  EXPECT_TRUE(LogFiles::matches("npm-debug.log", "debug"));
  EXPECT_FALSE(LogFiles::matches("npm-debug.log", "^debug"));
  EXPECT_TRUE(LogFiles::matches("server.LOG", "(?i)\\.log$"));
  EXPECT_FALSE(LogFiles::matches("server.log", ""));
  EXPECT_FALSE(LogFiles::matches("server.log", "("));
}

TEST(SmartCleanCatalogTest, KeepsAllowedSectionsOutsideGameFoldersAndDropsReviewAndOwnerCaches) {
  PreviewReport report;
  report.feature = TidyloomFeature::purge;
  report.interrupted = true;
  report.candidates = {
      {"/h/Library/Caches/a", "userCaches", 5, true},
      {"/h/Library/Application Support/STEAM/appcache", "userCaches", 5, true},
      {"/h/Library/Developer/Xcode/DerivedData", "devCaches", 5, true},
      {"/h/.Trash/x", "trash", 5, true},
  };
  report.ownerCaches = {{"npm", {"/h/.npm"}, 3}};
  report.reviewItems = {{"/h/big", "Big", "largeFiles", 9, "", true, false}};
  report.appHeld = {{{"/h/Library/Caches/Google/Chrome", "userCaches", 5, true}, {"Chrome"}, {"com.google.Chrome"}},
                    {{"/h/Library/Caches/pip", "devCaches", 5, true}, {"Python"}, {}}};

  const auto markers = SmartCleanCatalog::gameMarkers({"Library/Application Support/Steam"});
  EXPECT_EQ(markers, std::vector<std::string>{"/library/application support/steam"});
  const PreviewReport smart = SmartCleanCatalog::filter(report, markers);
  EXPECT_EQ(smart.feature, TidyloomFeature::clean);
  EXPECT_TRUE(smart.interrupted);
  ASSERT_EQ(smart.candidates.size(), 2u);
  EXPECT_EQ(smart.candidates[0].path, "/h/Library/Caches/a");
  EXPECT_EQ(smart.candidates[1].path, "/h/.Trash/x");
  EXPECT_TRUE(smart.ownerCaches.empty());
  EXPECT_TRUE(smart.reviewItems.empty());
  ASSERT_EQ(smart.appHeld.size(), 1u);
  EXPECT_EQ(smart.appHeld[0].appNames, std::vector<std::string>{"Chrome"});
  EXPECT_EQ(SmartCleanCatalog::surfaces(), (std::set<CleanSurface>{CleanSurface::logs, CleanSurface::general}));
}

TEST(CleanCatalogTest, LoadsTheShippedRulesOnce) {
  EXPECT_EQ(CleanCatalog::knownSectionIDs().size(), 7u);
  EXPECT_FALSE(CleanCatalog::rules().empty());
  EXPECT_EQ(&CleanCatalog::config(), &CleanCatalog::config());
}

}  // namespace
}  // namespace tidyloom
