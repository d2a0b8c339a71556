// The freedesktop.org Trash on real folders: info files, unique names, the folder-size cache, the
// per-volume Trash, and interoperation with trash-cli (trash-list, trash-restore) when installed.
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>

#include "core/bounded_probe.h"
#include "removal/remover.h"
#include "removal/test_fixtures.h"
#include "testing/temp_tree.h"

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

}  // namespace
}  // namespace tidyloom
