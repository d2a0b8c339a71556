// The freedesktop.org Trash on real folders: info files, unique names, the folder-size cache, the
// per-volume Trash, and interoperation with trash-cli (trash-list, trash-restore) when installed.
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>

#include "core/bounded_probe.h"
#include "platform/trash.h"
#include "removal/protection_layer.h"
#include "removal/remover.h"
#include "removal/trash_put_back.h"
#include "testing/temp_tree.h"
#include "testing/test_fixtures.h"

namespace tidyloom {
namespace {

namespace fs = std::filesystem;
using testing::TempTree;

std::string slurp(const fs::path& path) {
  std::ifstream in(path);
  std::stringstream out;
  out << in.rdbuf();
  return out.str();
}

// Points XDG_DATA_HOME at the test tree so the user's real Trash is never touched.
class SystemTrashTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* previous = std::getenv("XDG_DATA_HOME");
    if (previous) previous_ = previous;
    ::setenv("XDG_DATA_HOME", tree.path("data").c_str(), 1);
    roots = ScanRoots::fixture(tree.root());
    remover.trash = systemTrash();
  }
  void TearDown() override {
    if (previous_) {
      ::setenv("XDG_DATA_HOME", previous_->c_str(), 1);
    } else {
      ::unsetenv("XDG_DATA_HOME");
    }
  }
  RunReport trash(const std::vector<std::string>& paths) {
    return remover.remove(paths, RemovalMode::trash, roots, RemovalScope::userSelected, false);
  }
  std::vector<std::string> environment() const {
    return {"XDG_DATA_HOME=" + tree.path("data").string(), "HOME=" + tree.root().string()};
  }

  TempTree tree;
  ScanRoots roots;
  Remover remover;
  std::optional<std::string> previous_;
};

TEST_F(SystemTrashTest, InfoFilesRecordTheEncodedPathAndTheDateAndNamesNeverCollide) {
  const std::string first = tree.text("docs/a b%.txt", "first").string();
  ASSERT_EQ(trash({first}).removed.size(), 1u);
  tree.text("docs/a b%.txt", "second");
  ASSERT_EQ(trash({first}).removed.size(), 1u);

  const fs::path bin = tree.path("data/Trash");
  EXPECT_EQ(slurp(bin / "files/a b%.txt"), "first");
  EXPECT_EQ(slurp(bin / "files/a b%_2.txt"), "second");
  const std::string info = slurp(bin / "info/a b%.txt.trashinfo");
  const std::string encoded = tree.path("docs").string() + "/a%20b%25.txt";
  EXPECT_TRUE(std::regex_match(info, std::regex("\\[Trash Info\\]\nPath=" + encoded +
                                                "\nDeletionDate=\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\n")))
      << info;
  EXPECT_TRUE(fs::exists(bin / "info/a b%_2.txt.trashinfo"));
  EXPECT_EQ(fs::status(bin).permissions() & fs::perms::all, fs::perms::owner_all);
}

TEST_F(SystemTrashTest, TrashedFoldersAreListedInTheFolderSizeCache) {
  tree.file("work/build/obj/a.o", 30000);
  const auto report = trash({tree.path("work/build").string()});
  ASSERT_EQ(report.removed.size(), 1u);
  const std::string cache = slurp(tree.path("data/Trash/directorysizes"));
  struct stat info {};
  ASSERT_EQ(::stat(tree.path("data/Trash/info/build.trashinfo").c_str(), &info), 0);
  EXPECT_EQ(cache, std::to_string(report.freedBytes) + " " + std::to_string(info.st_mtime) + " build\n");
  // An entry whose item left the Trash is dropped when the cache is next written.
  fs::remove_all(tree.path("data/Trash/files/build"));
  tree.file("work/other/x", 10);
  trash({tree.path("work/other").string()});
  const std::string updated = slurp(tree.path("data/Trash/directorysizes"));
  EXPECT_EQ(updated.find(" build\n"), std::string::npos);
  EXPECT_NE(updated.find(" other\n"), std::string::npos);
}

TEST_F(SystemTrashTest, ItemsOnAnotherFileSystemGoToThatVolumesOwnTrash) {
  testing::MountedTmpfs volume(tree.path("volume"));
  if (!volume.mounted()) GTEST_SKIP() << "cannot mount a tmpfs here";
  tree.text("volume/media/clip.mov", "frames");
  ASSERT_EQ(trash({tree.path("volume/media/clip.mov").string()}).removed.size(), 1u);
  const fs::path bin = tree.path("volume/.Trash-" + std::to_string(::getuid()));
  EXPECT_EQ(slurp(bin / "files/clip.mov"), "frames");
  // Paths in a volume's Trash are relative to the volume, so it can be mounted elsewhere.
  EXPECT_NE(slurp(bin / "info/clip.mov.trashinfo").find("\nPath=media/clip.mov\n"), std::string::npos);
  EXPECT_EQ(fs::status(bin).permissions() & fs::perms::all, fs::perms::owner_all);
  EXPECT_FALSE(fs::exists(tree.path("data/Trash/files/clip.mov")));
}

TEST_F(SystemTrashTest, TrashCliListsAndRestoresWhatWasTrashed) {
  const auto list = findExecutable("trash-list");
  const auto restore = findExecutable("trash-restore");
  if (!list || !restore) GTEST_SKIP() << "trash-cli is not installed";
  const std::string file = tree.text("project/notes é.txt", "keep me").string();
  tree.file("project/cache/blob", 5000);
  ASSERT_EQ(trash({file, tree.path("project/cache").string()}).removed.size(), 2u);

  const auto listed = testing::runProgram(*list, {}, "", 60, environment());
  EXPECT_EQ(listed.status, 0) << listed.err;
  EXPECT_NE(listed.out.find(file), std::string::npos) << listed.out;
  EXPECT_NE(listed.out.find(tree.path("project/cache").string()), std::string::npos) << listed.out;

  const auto restored = testing::runProgram(*restore, {file}, "0\n", 60, environment());
  EXPECT_EQ(restored.status, 0) << restored.out << restored.err;
  EXPECT_EQ(slurp(file), "keep me");
  EXPECT_FALSE(fs::exists(tree.path("data/Trash/info/notes é.txt.trashinfo")));
}

TEST_F(SystemTrashTest, TheReportSaysWhereEachItemWentAndCountsItsBytesAsTrashed) {
  const auto file = tree.file("docs/report.pdf", 20000);
  tree.file("docs/build/obj.o", 9000);
  const auto report = trash({file.string(), tree.path("docs/build").string()});
  ASSERT_EQ(report.trashed.size(), 2u);
  EXPECT_EQ(report.trashedBytes, report.freedBytes);
  EXPECT_EQ(report.trashed[0].path, file.string());
  EXPECT_EQ(report.trashed[0].trashFolder, tree.path("data/Trash/files").string());
  EXPECT_EQ(report.trashed[0].trashedName, "report.pdf");
  struct stat info {};
  ASSERT_EQ(::stat(tree.path("data/Trash/files/report.pdf").c_str(), &info), 0);
  EXPECT_EQ(report.trashed[0].inode, info.st_ino);
  EXPECT_EQ(report.trashed[0].device, info.st_dev);

  const auto gone = remover.remove({tree.file("docs/tmp.bin", 5000).string()}, RemovalMode::permanent, roots,
                                   RemovalScope::userSelected, false);
  EXPECT_TRUE(gone.trashed.empty());
  EXPECT_EQ(gone.trashedBytes, 0u);
  EXPECT_GT(gone.freedBytes, 0u);
}

TEST_F(SystemTrashTest, PutBackReturnsTheSameItemWithItsTimesAndTakesItsRecords) {
  tree.file("work/build/obj/a.o", 30000);
  tree.text("work/notes.txt", "keep");
  tree.age("work/notes.txt", 40);
  tree.age("work/build/obj/a.o", 12);
  struct stat before {};
  ASSERT_EQ(::lstat(tree.path("work/notes.txt").c_str(), &before), 0);
  const auto report = trash({tree.path("work/notes.txt").string(), tree.path("work/build").string()});
  ASSERT_EQ(report.trashed.size(), 2u);
  ASSERT_NE(slurp(tree.path("data/Trash/directorysizes")).find(" build\n"), std::string::npos);
  // The parent folder is gone by now: it is made again.
  fs::remove_all(tree.path("work"));

  for (const auto& item : report.trashed) {
    EXPECT_TRUE(PutBack::stillTrashed(item));
    EXPECT_EQ(PutBack::preview(item).state, PutBack::State::restored);
    const auto back = PutBack::restore(item);
    EXPECT_EQ(back.state, PutBack::State::restored) << back.reason;
    EXPECT_EQ(back.destination, item.path);
    EXPECT_FALSE(PutBack::stillTrashed(item));
  }
  EXPECT_EQ(slurp(tree.path("work/notes.txt")), "keep");
  EXPECT_EQ(fs::file_size(tree.path("work/build/obj/a.o")), 30000u);
  struct stat after {};
  ASSERT_EQ(::lstat(tree.path("work/notes.txt").c_str(), &after), 0);
  EXPECT_EQ(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_TRUE(fs::is_empty(tree.path("data/Trash/info")));
  EXPECT_TRUE(fs::is_empty(tree.path("data/Trash/files")));
  EXPECT_EQ(slurp(tree.path("data/Trash/directorysizes")).find(" build\n"), std::string::npos);
  // A second undo of the same item finds nothing and guesses nothing.
  EXPECT_EQ(PutBack::restore(report.trashed[0]).state, PutBack::State::notInTrash);
}

TEST_F(SystemTrashTest, ATakenPathGetsTheItemBesideItAndAnotherItemOfTheSameNameIsNeverTaken) {
  const auto first = trash({tree.text("work/a.txt", "old").string(), tree.text("work/.env", "secret").string()});
  ASSERT_EQ(first.trashed.size(), 2u);
  tree.text("work/a.txt", "new");
  tree.text("work/.env", "new env");
  tree.text("work/a (restored).txt", "an earlier one");

  EXPECT_EQ(PutBack::preview(first.trashed[0]).state, PutBack::State::restoredBeside);
  const auto beside = PutBack::restore(first.trashed[0]);
  EXPECT_EQ(beside.state, PutBack::State::restoredBeside);
  EXPECT_EQ(beside.destination, tree.path("work/a (restored 2).txt").string());
  EXPECT_EQ(slurp(tree.path("work/a (restored 2).txt")), "old");
  EXPECT_EQ(slurp(tree.path("work/a.txt")), "new");
  EXPECT_EQ(PutBack::restore(first.trashed[1]).destination, tree.path("work/.env (restored)").string());

  // Emptied, then another item of the same name trashed: that one is not the run's.
  const auto second = trash({tree.text("work/b.txt", "first b").string()});
  fs::remove(tree.path("data/Trash/files/b.txt"));
  fs::remove(tree.path("data/Trash/info/b.txt.trashinfo"));
  trash({tree.text("work/b.txt", "second b").string()});
  const auto none = PutBack::restore(second.trashed[0]);
  EXPECT_EQ(none.state, PutBack::State::notInTrash);
  EXPECT_FALSE(none.reason.empty());
  EXPECT_EQ(slurp(tree.path("data/Trash/files/b.txt")), "second b");
  EXPECT_FALSE(fs::exists(tree.path("work/b.txt")));
}

TEST_F(SystemTrashTest, PutBackNeverFollowsAParentSwappedForALink) {
  const auto report = trash({tree.text("work/inner/doc.txt", "mine").string()});
  ASSERT_EQ(report.trashed.size(), 1u);
  tree.dir("elsewhere");
  fs::remove_all(tree.path("work/inner"));
  tree.symlink("work/inner", tree.path("elsewhere"));
  const auto refused = PutBack::restore(report.trashed[0]);
  EXPECT_EQ(refused.state, PutBack::State::failed);
  EXPECT_FALSE(refused.reason.empty());
  EXPECT_TRUE(fs::is_empty(tree.path("elsewhere")));
  EXPECT_TRUE(PutBack::stillTrashed(report.trashed[0]));
  EXPECT_TRUE(fs::exists(tree.path("data/Trash/info/doc.txt.trashinfo")));
}

TEST_F(SystemTrashTest, ItemsComeBackFromAVolumesOwnTrashAndEveryTrashOfTheUserIsFound) {
  testing::MountedTmpfs volume(tree.path("volume"));
  if (!volume.mounted()) GTEST_SKIP() << "cannot mount a tmpfs here";
  const auto report = trash({tree.text("volume/media/clip.mov", "frames").string()});
  ASSERT_EQ(report.trashed.size(), 1u);
  const fs::path bin = tree.path("volume/.Trash-" + std::to_string(::getuid()));
  EXPECT_EQ(report.trashed[0].trashFolder, (bin / "files").string());

  const auto trashes = platform::userTrashes(tree.root());
  const auto found = std::find_if(trashes.begin(), trashes.end(),
                                  [&](const platform::TrashLocation& t) { return t.items == bin / "files"; });
  ASSERT_NE(found, trashes.end());
  EXPECT_EQ(found->topdir, tree.path("volume"));
  EXPECT_EQ(platform::trashLocationOf(bin / "files"), *found);
  const auto entries = platform::trashEntries(*found);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].originalPath, tree.path("volume/media/clip.mov").string());

  const auto back = PutBack::restore(report.trashed[0]);
  EXPECT_EQ(back.state, PutBack::State::restored) << back.reason;
  EXPECT_EQ(slurp(tree.path("volume/media/clip.mov")), "frames");
  EXPECT_TRUE(fs::is_empty(bin / "info"));
}

TEST_F(SystemTrashTest, ALinkedOrForeignVolumeTrashIsNotTheUsers) {
  testing::MountedTmpfs volume(tree.path("volume"));
  if (!volume.mounted()) GTEST_SKIP() << "cannot mount a tmpfs here";
  tree.dir("decoy/files");
  tree.symlink("volume/.Trash-" + std::to_string(::getuid()), tree.path("decoy"));
  for (const auto& trash : platform::userTrashes(tree.root())) {
    EXPECT_FALSE(isUnder(trash.items.string(), tree.path("volume").string())) << trash.items;
  }
}

TEST_F(SystemTrashTest, WhatTrashCliPutBackIsMissingFromAnUndo) {
  const auto restore = findExecutable("trash-restore");
  if (!restore) GTEST_SKIP() << "trash-cli is not installed";
  const auto report = trash({tree.text("work/c.txt", "see").string()});
  ASSERT_EQ(report.trashed.size(), 1u);
  const auto restored = testing::runProgram(*restore, {tree.path("work/c.txt").string()}, "0\n", 60, environment());
  ASSERT_EQ(restored.status, 0) << restored.out << restored.err;
  EXPECT_EQ(PutBack::restore(report.trashed[0]).state, PutBack::State::notInTrash);
  EXPECT_EQ(slurp(tree.path("work/c.txt")), "see");
  // What the file browser moved has no place of ours to come back from.
  TrashedItem byFinder = report.trashed[0];
  byFinder.trashFolder.clear();
  const auto refused = PutBack::restore(byFinder);
  EXPECT_EQ(refused.state, PutBack::State::notInTrash);
  EXPECT_NE(refused.reason, PutBack::restore(report.trashed[0]).reason);
}

}  // namespace
}  // namespace tidyloom
