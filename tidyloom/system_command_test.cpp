// End-to-end tests of `tidyloom system scan` on fixture trees.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <fstream>
#include <iostream>
#include <set>

#include "testing/private_mounts.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using testing::builtProgram;
using testing::runProgram;

class SystemScanCommandTest : public ::testing::Test {
 protected:
  testing::TempTree tree;
  void old(const std::string& relative, std::uint64_t size = 2000) {
    tree.file(relative, size);
    tree.age(relative, 10);
  }
  testing::CommandResult scan(std::vector<std::string> extra = {}) {
    std::vector<std::string> arguments{"--fixture", tree.root().string(), "--lang", "en", "system", "scan"};
    arguments.insert(arguments.end(), extra.begin(), extra.end());
    return runProgram(builtProgram("tidyloom"), arguments);
  }
  std::vector<std::string> jsonPaths(const testing::CommandResult& result) const {
    std::vector<std::string> out;
    for (const auto& row : nlohmann::json::parse(result.out)) {
      EXPECT_EQ(row["section"], "systemCaches");
      EXPECT_EQ(row["removable"], true);
      out.push_back(row["path"].get<std::string>().substr(tree.root().string().size() + 1));
    }
    std::sort(out.begin(), out.end());
    return out;
  }
};

TEST_F(SystemScanCommandTest, ListsOldSystemFilesAndAddsRebuildableCachesOnRequest) {
  old("private/var/log/system.log");
  old("private/var/log/a/b/c/deep.log");
  tree.file("private/var/log/fresh.log", 100);
  old("SystemLibrary/Caches/com.apple.iconservices.store/blob");
  old("SystemLibrary/Caches/com.apple.iconservices.store/CACHEDIR.TAG");
  old("private/var/folders/zz/C/com.apple.metal/app/lib.data");
  tree.symlink("private/var/log/link.log", tree.path("private/var/log/system.log"));

  auto result = scan({"--json"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(jsonPaths(result), std::vector<std::string>{"private/var/log/system.log"});

  result = scan({"--rebuildable", "--user-domain", "--json"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(jsonPaths(result), (std::vector<std::string>{"SystemLibrary/Caches/com.apple.iconservices.store/blob",
                                                         "private/var/folders/zz/C/com.apple.metal/app/lib.data",
                                                         "private/var/log/system.log"}));
}

TEST_F(SystemScanCommandTest, HumanListingGroupsByAreaWithSizesAndTotal) {
  old("private/var/log/system.log");
  old("SystemLibrary/Logs/DiagnosticReports/App.crash");
  const auto result = scan();
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("System log files"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("Diagnostic reports and application logs"), std::string::npos);
  EXPECT_NE(result.out.find("2 items in all"), std::string::npos);
  EXPECT_NE(result.out.find("App.crash"), std::string::npos);
}

TEST_F(SystemScanCommandTest, RemovalRechecksEachPathAgainstTheScanRules) {
  old("private/var/log/system.log");
  old("private/var/log/touched.log");
  ASSERT_EQ(jsonPaths(scan({"--json"})).size(), 2u);
  tree.age("private/var/log/touched.log", 0);  // written to after the scan
  const std::string offered = tree.path("private/var/log/system.log").string();
  const std::string touched = tree.path("private/var/log/touched.log").string();
  const auto result = runProgram(builtProgram("tidyloom"), {"--fixture", tree.root().string(), "--lang", "en", "--json",
                                                            "system", "remove", "--yes", offered, touched});
  EXPECT_EQ(result.status, 1) << result.err;
  const auto report = nlohmann::json::parse(result.out);
  EXPECT_EQ(report["removed"], nlohmann::json::array({offered}));
  ASSERT_EQ(report["failed"].size(), 1u);
  EXPECT_EQ(report["failed"][0]["reason"],
            "System log type or age has changed; scan again before cleaning: " + touched);
  EXPECT_FALSE(std::filesystem::exists(offered));
  EXPECT_TRUE(std::filesystem::exists(touched));
}

TEST_F(SystemScanCommandTest, CtrlCDuringARemovalKeepsTheRecordOfWhatWasHandled) {
  std::vector<std::string> arguments{"--fixture", tree.root().string(), "--json", "system", "remove", "--yes"};
  for (int i = 0; i < 200; ++i) {
    const std::string relative = "private/var/log/old" + std::to_string(i) + ".log";
    old(relative);
    arguments.push_back(tree.path(relative).string());
  }
  const auto result = testing::runProgramInterrupted(builtProgram("tidyloom"), arguments,
                                                     [&] { return !std::filesystem::exists(arguments[6]); });
  ASSERT_EQ(result.status, 130) << result.err;
  const auto report = nlohmann::json::parse(result.out);
  EXPECT_TRUE(report["interrupted"].get<bool>());
  const auto removed = report["removed"].get<std::vector<std::string>>();
  EXPECT_FALSE(removed.empty());
  EXPECT_LT(removed.size(), 200u);
  EXPECT_TRUE(report["failed"].empty()) << result.out;
  EXPECT_TRUE(std::filesystem::exists(arguments.back()));
  const auto history = runProgram(builtProgram("tidyloom"), {"--fixture", tree.root().string(), "--json", "history"});
  EXPECT_EQ(nlohmann::json::parse(history.out).at(0)["itemCount"], removed.size());
}

TEST_F(SystemScanCommandTest, RemovalTakesEverythingTheFixtureScanOffers) {
  old("private/var/log/system.log");
  old("private/var/log/a/b/old.gz");
  old("SystemLibrary/Caches/app/x.cache");
  old("SystemLibrary/Logs/DiagnosticReports/App.crash");
  old("SystemLibrary/Logs/install.log");
  old("private/var/db/diagnostics/Persist/0001.tracev3");
  old("private/var/db/powerlog/Library/BatteryLife/old.PLSQL");
  old("SystemLibrary/Caches/com.apple.iconservices.store/blob");
  const auto scanned = scan({"--rebuildable", "--json"});
  std::vector<std::string> arguments{"--fixture", tree.root().string(), "--json", "system", "remove", "--yes"};
  for (const auto& row : nlohmann::json::parse(scanned.out)) arguments.push_back(row["path"]);
  ASSERT_EQ(arguments.size(), 6u + 8u) << scanned.out;
  const auto result = runProgram(builtProgram("tidyloom"), arguments);
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_EQ(nlohmann::json::parse(result.out)["removed"].size(), 8u) << result.out;
}

TEST_F(SystemScanCommandTest, EmptyTreeSaysSoAndMissingSubcommandIsAUsageError) {
  EXPECT_EQ(scan().out, "No system files to clean were found\n");
  EXPECT_EQ(runProgram(builtProgram("tidyloom"), {"system"}).status, 2);
}

void oldFile(const std::filesystem::path& path) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path) << std::string(3000, 'x');
  const auto tenDaysAgo = std::filesystem::file_time_type::clock::now() - std::chrono::hours(24 * 10);
  std::filesystem::last_write_time(path, tenDaysAgo);
}

// The live system scan of this machine, in a private /var: what it offers, its removal takes
// whole; live logs (written to, or held open) and the journal are never offered.
TEST(LiveSystemScanTest, RemovalTakesEverythingTheScanOffersAndNoLiveLog) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root for a private mount namespace";
  // The body runs in a child process: what went wrong is told on standard error.
  const auto outcome = testing::inPrivateMounts({"/var", "/root"}, [&] {
    std::string diagnostics;
    const auto fail = [&](std::string what) {
      std::cerr << what << std::endl;
      return false;
    };
    const std::set<std::string> offered{
        "/var/log/syslog.1",          "/var/log/kern.log.2.gz",     "/var/log/apt/history.log.1.gz",
        "/var/log/messages-20261101", "/var/log/Xorg.0.log.old",    "/var/lib/systemd/coredump/core.app.1000.zst",
        "/var/crash/app.1000.crash",  "/var/cache/app/index.cache",
    };
    for (const auto& path : offered) oldFile(path);
    for (const char* live : {"/var/log/syslog", "/var/log/alternatives.log", "/var/log/fontconfig.log",
                             "/var/log/journal/0123/system.journal", "/var/log/held.log.1", "/var/log/wtmp"}) {
      oldFile(live);
    }
    const testing::OpenFileHolder holder("/var/log/held.log.1");
    if (!holder.holding()) return fail("could not hold the log open");

    auto scan = testing::runProgram(testing::builtProgram("tidyloom"), {"--json", "--lang", "en", "system", "scan"});
    std::set<std::string> found;
    for (const auto& row : nlohmann::json::parse(scan.out, nullptr, false)) found.insert(row.value("path", ""));
    if (found != offered) return fail("scan offered:\n" + scan.out + scan.err);
    std::vector<std::string> arguments{"--json", "--lang", "en", "system", "remove", "--yes"};
    arguments.insert(arguments.end(), found.begin(), found.end());
    const auto removal = testing::runProgram(testing::builtProgram("tidyloom"), arguments);
    const auto report = nlohmann::json::parse(removal.out, nullptr, false);
    if (removal.status != 0 || report.is_discarded() || report["removed"].size() != offered.size()) {
      return fail("removal:\n" + removal.out + removal.err);
    }
    for (const auto& path : offered) {
      if (std::filesystem::exists(path)) diagnostics += "still there: " + path + "\n";
    }
    // A rotated log that a program still holds is refused at removal as well.
    const auto held =
        testing::runProgram(testing::builtProgram("tidyloom"),
                            {"--json", "--lang", "en", "system", "remove", "--yes", "/var/log/held.log.1"});
    if (held.status != 1 || !std::filesystem::exists("/var/log/held.log.1")) diagnostics += "held: " + held.out;
    return diagnostics.empty() || fail(diagnostics);
  });
  if (!outcome) GTEST_SKIP() << "no private mount namespace here";
  EXPECT_TRUE(*outcome);
}

}  // namespace
}  // namespace tidyloom
