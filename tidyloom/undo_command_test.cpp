// The Trash and undo end to end, as a new user meets them: the built program in a private home
// (a tmpfs on /root in a private mount namespace), the real freedesktop.org Trash, trash-cli beside
// it, and a second mounted file system with its own Trash.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <iostream>

#include "core/bounded_probe.h"
#include "testing/private_mounts.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

namespace fs = std::filesystem;
using testing::builtProgram;
using testing::readText;
using testing::runProgram;

const std::vector<std::string> kHome{"HOME=/root", "LANG=C"};

testing::CommandResult tidyloom(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"--lang", "en", "--no-progress"});
  return runProgram(builtProgram("tidyloom"), arguments, "", 120, kHome);
}

// Inside the forked child a failed check is printed and ends the body.
bool check(bool condition, const std::string& what, const std::string& detail = {}) {
  if (!condition) std::cerr << "check failed: " << what << "\n" << detail << std::endl;
  return condition;
}

nlohmann::json parsed(const testing::CommandResult& result) {
  return nlohmann::json::parse(result.out, nullptr, false);
}

void write(const fs::path& path, const std::string& contents) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << contents;
}

std::int64_t mtime(const fs::path& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0 ? info.st_mtim.tv_sec : -1;
}

std::optional<fs::path> trashCli(const char* name) {
  const auto found = findExecutable(name);
  return found ? std::optional<fs::path>(*found) : std::nullopt;
}

void requireRootAndTrashCli() {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root for a private mount namespace";
  if (!trashCli("trash-list") || !trashCli("trash-put")) GTEST_SKIP() << "trash-cli is not installed";
}

TEST(UndoLive, CleanToTheTrashThenUndoPutsEveryFileBackByteForByteWithItsTimes) {
  requireRootAndTrashCli();
  if (IsSkipped()) return;
  const auto outcome = testing::inPrivateMounts({"/root"}, [] {
    std::string blob(150'000, '\0');
    for (size_t i = 0; i < blob.size(); ++i) blob[i] = static_cast<char>((i * 7919) % 251);
    write("/root/.cache/app1/blob.bin", blob);
    write("/root/.cache/app2/index", "index data");
    const timespec old[2] = {{1'600'000'000, 0}, {1'600'000'000, 0}};
    ::utimensat(AT_FDCWD, "/root/.cache/app1/blob.bin", old, AT_SYMLINK_NOFOLLOW);
    // Something the user trashed earlier stays where it is.
    write("/root/docs/old-report.txt", "old");
    const auto put = runProgram(*trashCli("trash-put"), {"/root/docs/old-report.txt"}, "", 60, kHome);
    if (!check(put.status == 0, "trash-put", put.err)) return false;

    const auto cleaned = tidyloom({"--json", "clean", "--trash", "--yes", "--no-review"});
    const auto report = parsed(cleaned);
    if (!check(cleaned.status == 0 && report["trashed"].size() == 2, "clean --trash", cleaned.out + cleaned.err)) {
      return false;
    }
    const auto trashed = report["trashedBytes"].get<std::uint64_t>();
    if (!check(trashed >= 150'000 && trashed == report["freedBytes"].get<std::uint64_t>(), "trashed bytes")) {
      return false;
    }
    const auto listed = runProgram(*trashCli("trash-list"), {}, "", 60, kHome);
    if (!check(listed.out.find("/root/.cache/app1") != std::string::npos &&
                   listed.out.find("/root/docs/old-report.txt") != std::string::npos,
               "trash-list lists the run's items", listed.out)) {
      return false;
    }

    const auto history = parsed(tidyloom({"--json", "history"}));
    const auto stats = parsed(tidyloom({"--json", "stats"}));
    if (!check(history[0]["freedBytes"] == 0 && history[0]["trashedBytes"] == trashed &&
                   history[0]["undoable"] == true && stats["freedBytes"] == 0 && stats["trashedBytes"] == trashed,
               "history and stats", history.dump() + stats.dump())) {
      return false;
    }
    const auto runs = parsed(tidyloom({"--json", "undo", "--list"}));
    if (!check(runs.size() == 1 && runs[0]["runID"] == history[0]["id"] && runs[0]["inTrash"] == 2, "undo --list",
               runs.dump())) {
      return false;
    }
    const auto dry = tidyloom({"--json", "undo", "--dry-run"});
    if (!check(dry.status == 0 && parsed(dry)["removed"].size() == 2 && !fs::exists("/root/.cache/app1"),
               "undo --dry-run changes nothing", dry.out)) {
      return false;
    }

    const auto undone = tidyloom({"undo", history[0]["id"].get<std::string>().substr(0, 8)});
    if (!check(undone.status == 0 && undone.out.find("Put back 2 items") != std::string::npos, "undo",
               undone.out + undone.err)) {
      return false;
    }
    if (!check(readText("/root/.cache/app1/blob.bin") == blob && readText("/root/.cache/app2/index") == "index data" &&
                   mtime("/root/.cache/app1/blob.bin") == 1'600'000'000,
               "byte-identical with its times")) {
      return false;
    }
    const auto after = runProgram(*trashCli("trash-list"), {}, "", 60, kHome);
    if (!check(after.out.find("/root/.cache") == std::string::npos &&
                   after.out.find("/root/docs/old-report.txt") != std::string::npos,
               "trash-list after undo", after.out)) {
      return false;
    }
    const auto again = tidyloom({"undo"});
    const auto recorded = parsed(tidyloom({"--json", "history"}));
    return check(again.status == 1 && again.err.find("No run can be undone") != std::string::npos, "nothing left",
                 again.err) &&
           check(
               recorded[0]["feature"] == "undo" && recorded[0]["mode"] == "restore" && recorded[1]["undoable"] == false,
               "undo recorded", recorded.dump());
  });
  if (!outcome) GTEST_SKIP() << "no private mount namespace here";
  EXPECT_TRUE(*outcome);
}

TEST(UndoLive, ATakenPathGetsTheItemBesideItAndWhatTrashCliRestoredIsReported) {
  requireRootAndTrashCli();
  if (IsSkipped()) return;
  const auto outcome = testing::inPrivateMounts({"/root"}, [] {
    write("/root/work/a.txt", "first a");
    write("/root/work/b.txt", "first b");
    const auto removed = tidyloom({"remove", "--yes", "/root/work/a.txt", "/root/work/b.txt"});
    if (!check(removed.status == 0 && removed.out.find("Moved 2 items (8.2 kB) to the Trash") != std::string::npos,
               "remove says what it did", removed.out + removed.err)) {
      return false;
    }
    write("/root/work/a.txt", "new a");
    const auto restored = runProgram(*trashCli("trash-restore"), {"/root/work/b.txt"}, "0\n", 60, kHome);
    if (!check(restored.status == 0 && readText("/root/work/b.txt") == "first b", "trash-restore", restored.err)) {
      return false;
    }
    const auto undone = tidyloom({"--json", "undo"});
    const auto report = parsed(undone);
    return check(undone.status == 1, "an item no longer in the Trash fails the undo", undone.out) &&
           check(report["removed"] == nlohmann::json::array({"/root/work/a (restored).txt"}), "beside", undone.out) &&
           check(report["failed"].size() == 1 && report["failed"][0]["path"] == "/root/work/b.txt", "reported",
                 undone.out) &&
           check(report["notes"].size() == 1, "the new name is said") &&
           check(readText("/root/work/a.txt") == "new a" && readText("/root/work/a (restored).txt") == "first a",
                 "nothing overwritten");
  });
  if (!outcome) GTEST_SKIP() << "no private mount namespace here";
  EXPECT_TRUE(*outcome);
}

// Observed: the preview showed six Trash items for three, `clean` emptied the Trash by default, and
// `clean --trash` moved Trash/files/* into the Trash again.
TEST(EmptyTrashLive, EveryTrashOfTheUserIsListedItemByItemAndEmptiedWithItsRecords) {
  requireRootAndTrashCli();
  if (IsSkipped()) return;
  const auto outcome = testing::inPrivateMounts({"/root", "/mnt"}, [] {
    write("/root/docs/old-report.txt", "report");
    write("/root/docs/drafts/one.txt", "draft");
    write("/mnt/media/clip.mov", "frames");
    const auto put =
        runProgram(*trashCli("trash-put"), {"/root/docs/old-report.txt", "/root/docs/drafts"}, "", 60, kHome);
    const auto onVolume = tidyloom({"remove", "--yes", "/mnt/media/clip.mov"});
    if (!check(put.status == 0 && onVolume.status == 0 && fs::exists("/mnt/.Trash-0/files/clip.mov"),
               "three trashed items", put.err + onVolume.out + onVolume.err)) {
      return false;
    }

    const auto preview = parsed(tidyloom({"--json", "clean", "--dry-run"}));
    std::vector<nlohmann::json> rows;
    for (const auto& item : preview["reviewItems"]) {
      if (item["section"] == "trash") rows.push_back(item);
    }
    if (!check(rows.size() == 3, "one row per trashed item", preview.dump())) return false;
    for (const auto& row : rows) {
      if (!check(row["selected"] == false, "never ticked unless asked", row.dump())) return false;
    }
    for (const auto& candidate : preview["candidates"]) {
      if (!check(candidate["path"].get<std::string>().find("Trash") == std::string::npos, "no Trash candidate",
                 candidate.dump())) {
        return false;
      }
    }
    const auto asked = parsed(tidyloom({"--json", "clean", "--dry-run", "--empty-trash"}));
    for (const auto& item : asked["reviewItems"]) {
      if (item["section"] == "trash" && !check(item["selected"] == true, "ticked when asked", item.dump())) {
        return false;
      }
    }

    // A plain clean leaves the Trash alone.
    const auto plain = tidyloom({"--json", "clean", "--yes", "--no-review"});
    if (!check(plain.status == 0 && fs::exists("/root/.local/share/Trash/files/old-report.txt"), "plain clean",
               plain.out + plain.err)) {
      return false;
    }
    const auto emptied = tidyloom({"--json", "clean", "--trash", "--surface", "trash", "--yes"});
    const auto report = parsed(emptied);
    if (!check(emptied.status == 0 && report["removed"].size() == 3 && report["trashed"].empty() &&
                   report["trashedBytes"] == 0 && report["freedBytes"].get<std::uint64_t>() > 0,
               "emptied for good", emptied.out + emptied.err)) {
      return false;
    }
    const auto listed = runProgram(*trashCli("trash-list"), {}, "", 60, kHome);
    return check(listed.status == 0 && listed.out.empty(), "trash-list agrees", listed.out + listed.err) &&
           check(fs::is_empty("/root/.local/share/Trash/files") && fs::is_empty("/root/.local/share/Trash/info") &&
                     fs::is_empty("/mnt/.Trash-0/files") && fs::is_empty("/mnt/.Trash-0/info"),
                 "items and records gone together") &&
           check(readText("/root/.local/share/Trash/directorysizes").find("drafts") == std::string::npos,
                 "folder-size cache kept current");
  });
  if (!outcome) GTEST_SKIP() << "no private mount namespace here";
  EXPECT_TRUE(*outcome);
}

// The macOS shape, on a fixture: the Trash is one plain folder (DIR/.Trash) with no record files;
// the undo store is the put-back record, and a taken name in the Trash gets a suffix.
TEST(UndoFixture, AFolderTrashPutsBackFromItsOwnRecordAndIsEmptiedItemByItem) {
  testing::TempTree tree;
  const auto run = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--fixture", tree.root().string(), "--lang", "en", "--no-progress"});
    return runProgram(builtProgram("tidyloom"), arguments);
  };
  tree.text("Downloads/a.dmg", "first");
  tree.text(".Trash/a.dmg", "trashed before");
  const auto removed = run({"--json", "remove", "--yes", tree.path("Downloads/a.dmg").string()});
  ASSERT_EQ(removed.status, 0) << removed.err;
  const auto report = nlohmann::json::parse(removed.out);
  ASSERT_EQ(report["trashed"].size(), 1u);
  EXPECT_EQ(report["trashed"][0]["trashedName"], "a 2.dmg");

  const auto undone = run({"--json", "undo"});
  ASSERT_EQ(undone.status, 0) << undone.out << undone.err;
  EXPECT_EQ(readText(tree.path("Downloads/a.dmg")), "first");
  EXPECT_EQ(readText(tree.path(".Trash/a.dmg")), "trashed before");

  const auto preview = nlohmann::json::parse(run({"--json", "clean", "--dry-run", "--empty-trash"}).out);
  std::vector<std::string> rows;
  for (const auto& item : preview["reviewItems"]) {
    if (item["section"] == "trash" && item["selected"] == true) rows.push_back(item["title"]);
  }
  EXPECT_EQ(rows, std::vector<std::string>{"a.dmg"});
  const auto emptied = run({"--json", "clean", "--surface", "trash", "--yes"});
  EXPECT_EQ(emptied.status, 0) << emptied.err;
  EXPECT_TRUE(fs::is_empty(tree.path(".Trash")));
  EXPECT_EQ(readText(tree.path("Downloads/a.dmg")), "first");
}

}  // namespace
}  // namespace tidyloom
