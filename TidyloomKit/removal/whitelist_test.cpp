// Whitelist: expansion, default and safety patterns, the store file, and fnmatch protection.
#include <gtest/gtest.h>

#include "removal/whitelist_policy.h"
#include "removal/whitelist_store.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using testing::TempTree;

TEST(WhitelistPolicyTest, ExpandDropsCommentsAndBlanksAndKeepsTheFirstOfEquivalentPatterns) {
  const auto out = WhitelistPolicy::expand(
      {"  ~/Foo \n", "# a comment", "", "   ", "$HOME/Foo", "${HOME}/Bar/*", "/abs/~x", "~/Foo"}, "/home/u");
  EXPECT_EQ(out, (std::vector<std::string>{"/home/u/Foo", "/home/u/Bar/*", "/abs/~x"}));
}

TEST(WhitelistPolicyTest, StarCrossesSeparatorsAndDescendantsAreOptIn) {
  const std::vector<std::string> patterns{"/h/Library/Caches/JetBrains*", "/h/.jupyter/runtime/"};
  EXPECT_TRUE(WhitelistPolicy::protects("/h/Library/Caches/JetBrains/IdeaIC/index", patterns, false));
  EXPECT_TRUE(WhitelistPolicy::protects("/h/.jupyter/runtime", patterns, false));
  EXPECT_FALSE(WhitelistPolicy::protects("/h/.jupyter/runtime/kernel.json", patterns, false));
  EXPECT_TRUE(WhitelistPolicy::protects("/h/.jupyter/runtime/kernel.json", patterns, true));
  EXPECT_FALSE(WhitelistPolicy::protects("/h/.jupyter/runtimes", patterns, true));
  EXPECT_FALSE(WhitelistPolicy::protects("/h/Library/Caches/Other", patterns, true));
}

TEST(WhitelistPolicyTest, PatternsAndPathsMatchThroughSymbolicLinks) {
  TempTree tree;
  tree.dir("real/cache/models");
  tree.symlink("alias", tree.path("real"));
  const std::string viaLink = tree.path("alias").string() + "/cache/*";
  const auto variants = WhitelistPolicy::patternVariants(viaLink);
  EXPECT_EQ(variants, (std::vector<std::string>{viaLink, tree.path("real/cache").string() + "/*"}));
  EXPECT_TRUE(WhitelistPolicy::protects(tree.path("real/cache/models").string(), {viaLink}, false));
  // The path given through the link is judged by its resolved form as well.
  EXPECT_TRUE(WhitelistPolicy::protects(tree.path("alias/cache/models").string(),
                                        {tree.path("real/cache/models").string()}, false));
  EXPECT_EQ(WhitelistPolicy::patternVariants("/nowhere/x*"), std::vector<std::string>{"/nowhere/x*"});
}

TEST(WhitelistPolicyTest, EveryPatternFormThatCanMatchBelowAFolderIsSeen) {
  const auto below = [](const char* folder, std::string pattern) {
    return WhitelistPolicy::mayProtectBelow(folder, {std::move(pattern)});
  };
  EXPECT_TRUE(below("/h/C/app", "/h/C/*/keep.db"));
  EXPECT_TRUE(below("/h/C/app/deep", "/h/C/*/keep.db"));  // "*" crosses "/"
  EXPECT_TRUE(below("/h/C/app", "/h/C/a?p/x"));
  EXPECT_TRUE(below("/h/C/app", "/h/C/[a-c]pp/x"));
  EXPECT_TRUE(below("/h/C/app", "/h/C/[!b]pp/x"));
  EXPECT_TRUE(below("/h/C/app", "/h/C/app/x"));
  EXPECT_TRUE(below("/h/C/app", "/h/C/ap*"));
  EXPECT_TRUE(below("/h/C/a*b", "/h/C/a\\*b/x"));
  EXPECT_FALSE(below("/h/C/app", "/h/C/[!a]pp/x"));
  EXPECT_FALSE(below("/h/C/app", "/h/C/app"));  // the folder itself, nothing below it
  EXPECT_FALSE(below("/h/C/app", "/h/C/apps/x"));
  EXPECT_FALSE(below("/h/C/app", "/h/D/*"));
  EXPECT_FALSE(below("/h/C/abb", "/h/C/a\\*b/x"));
}

TEST(WhitelistPolicyTest, ContentIsProtectedOnlyWhereAMatchExists) {
  TempTree tree;
  tree.file("C/app/deep/keep.db", 10);
  tree.file("C/other/data", 10);
  tree.symlink("C/link", tree.path("C/app"));
  const std::vector<std::string> patterns{tree.path("C").string() + "/*/keep.db"};
  EXPECT_TRUE(WhitelistPolicy::protectsContentOf(tree.path("C/app").string(), patterns));
  EXPECT_TRUE(WhitelistPolicy::protectsContentOf(tree.path("C").string(), patterns));
  EXPECT_FALSE(WhitelistPolicy::protectsContentOf(tree.path("C/other").string(), patterns));
  // A link is removed as a link: nothing below it goes with it.
  EXPECT_FALSE(WhitelistPolicy::protectsContentOf(tree.path("C/link").string(), patterns));
  EXPECT_FALSE(WhitelistPolicy::protectsContentOf(tree.path("C/app/deep/keep.db").string(), patterns));
}

TEST(WhitelistStoreTest, WithoutAFileTheDefaultsAndSafetyPatternsApply) {
  TempTree tree;
  const auto store = WhitelistStore::inFolder(tree.path("support/Tidyloom"));
  EXPECT_TRUE(std::filesystem::is_directory(tree.path("support/Tidyloom")));
  EXPECT_EQ(store.fileURL.filename(), "whitelist.json");
  const auto patterns = store.effectivePatterns("/home/u");
  // 13 defaults and 8 safety patterns share one renv pattern.
  EXPECT_EQ(patterns.size(), 20u);
  EXPECT_EQ(patterns.front(), "/home/u/Library/Caches/ms-playwright*");
  EXPECT_EQ(patterns.back(), "/home/u/.jupyter/runtime");
}

TEST(WhitelistStoreTest, AnEmptyListDisablesTheDefaultsButNotTheSafetyPatterns) {
  TempTree tree;
  const WhitelistStore store(tree.path("whitelist.json"));
  store.save({});
  EXPECT_EQ(store.effectivePatterns("/home/u"), WhitelistPolicy::safety("/home/u"));
}

TEST(WhitelistStoreTest, AMalformedFileReadsAsEmptyWithoutError) {
  TempTree tree;
  for (const std::string contents : {"{not json", "{\"a\":1}", "[1,2]", ""}) {
    const WhitelistStore store(tree.text("whitelist.json", contents));
    EXPECT_TRUE(store.load().empty()) << contents;
    EXPECT_EQ(store.effectivePatterns("/h").size(), 8u) << contents;
  }
  EXPECT_TRUE(WhitelistStore(tree.path("missing.json")).load().empty());
}

TEST(WhitelistStoreTest, SavedPatternsRoundTripAndContainsTakesEntriesLiterally) {
  TempTree tree;
  const WhitelistStore store(tree.path("deep/whitelist.json"));
  store.save({"/data/keep/", "/data/star*"});
  EXPECT_EQ(store.load(), (std::vector<std::string>{"/data/keep/", "/data/star*"}));
  EXPECT_TRUE(store.contains("/data/keep"));
  EXPECT_TRUE(store.contains("/data/keep/a/b"));
  EXPECT_FALSE(store.contains("/data/keeper"));
  EXPECT_FALSE(store.contains("/data/starfish"));
  EXPECT_TRUE(store.contains("/data/star*"));
}

}  // namespace
}  // namespace tidyloom
