// Tests of the remembered scan folders and the Full Disk Access probe.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "analysis/full_disk_access.h"
#include "analysis/scan_folder_store.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using testing::TempTree;

TEST(ScanFolderStoreTest, RemembersAFolderPerFeatureUnderThePrefixedKey) {
  TempTree tree;
  tree.dir("Projects/app");
  const UserDefaults defaults(tree.path("settings.json"));
  const ScanFolderStore store(defaults, "tidyloom.scanFolder");
  store.save(tree.path("Projects/app/../app/"), "spaceLens");
  EXPECT_EQ(store.load("spaceLens"), tree.path("Projects/app"));
  EXPECT_FALSE(store.load("largeFiles").has_value());
  const auto record = defaults.value("tidyloom.scanFolder.spaceLens");
  ASSERT_TRUE(record.has_value());
  EXPECT_EQ((*record)["path"], tree.path("Projects/app").string());
  EXPECT_TRUE(record->contains("bookmark"));
}

TEST(ScanFolderStoreTest, ForgetsAFolderThatNoLongerExistsOrCannotBeDecoded) {
  TempTree tree;
  tree.dir("gone");
  const UserDefaults defaults(tree.path("settings.json"));
  const ScanFolderStore store(defaults, "p");
  store.save(tree.path("gone"), "f");
  std::filesystem::remove(tree.path("gone"));
  EXPECT_FALSE(store.load("f").has_value());
  defaults.set("p.g", "not a record");
  EXPECT_FALSE(store.load("g").has_value());
}

TEST(FullDiskAccessTest, IsGrantedOnlyWhenAProtectedPlaceOpens) {
  TempTree tree;
  const bool systemWide = FullDiskAccess::isGranted(tree.path("nobody"));
  tree.dir("Library/Mail");
  EXPECT_TRUE(FullDiskAccess::isGranted(tree.root()));
  if (!systemWide) {
    EXPECT_FALSE(FullDiskAccess::isGranted(tree.path("nobody")));
  }
}

}  // namespace
}  // namespace tidyloom
