// Races through the privileged routes: a user who owns a folder under a system section root swaps
// it for a link to a root-owned folder outside, thousands of times, while root has the installed
// daemon, or the administrator shell, remove the old files it was offered there. Nothing outside
// may change. Runs in a private mount namespace with its own /var/cache, never on the machine's.
#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <fstream>
#include <iostream>
#include <optional>

#include <nlohmann/json.hpp>

#include "daemon_harness.h"

namespace tidyloom::testing {
namespace {

namespace fs = std::filesystem;

// The daemon removes in one process; the administrator shell starts one removal process per path,
// so it races over fewer paths to stay well inside the test's time.
constexpr int kDaemonPaths = 2000;
constexpr int kShellPaths = 600;
constexpr uid_t kNobody = 65534;

void makeOldFile(const fs::path& path, const std::string& text, uid_t owner) {
  std::ofstream(path) << text;
  (void)::chown(path.c_str(), owner, owner);
  const timespec old[2] = {{::time(nullptr) - 30 * 86400, 0}, {::time(nullptr) - 30 * 86400, 0}};
  (void)::utimensat(AT_FDCWD, path.c_str(), old, AT_SYMLINK_NOFOLLOW);
}

// The attacker: as nobody, exchanges its folder and its link until killed.
pid_t startSwapping(const fs::path& a, const fs::path& b) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    if (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0) ::_exit(126);
    for (;;) (void)::renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE);
  }
  return pid;
}

bool raceRounds(const TempTree& tree, bool viaDaemon) {
  const int kPaths = viaDaemon ? kDaemonPaths : kShellPaths;
  // The section root /var/cache/man belongs to another account, as on Debian.
  const fs::path section = "/var/cache/man", folder = section / "a", link = section / "L";
  fs::create_directories(folder);
  (void)::chown(section.c_str(), kNobody, kNobody);
  (void)::chown(folder.c_str(), kNobody, kNobody);
  const fs::path victim = tree.path("victim");
  fs::create_directories(victim);
  std::vector<std::string> paths;
  for (int i = 0; i < kPaths; ++i) {
    const std::string name = "x" + std::to_string(i) + ".gz";
    makeOldFile(folder / name, "cache", kNobody);
    makeOldFile(victim / name, "root's own", 0);
    paths.push_back((folder / name).string());
  }
  fs::create_symlink(victim, link);
  (void)::lchown(link.c_str(), kNobody, kNobody);

  const fs::path socket = tree.path("helper.sock");
  std::optional<ActivatedDaemon> daemon;
  if (viaDaemon) daemon.emplace(Installation::shared().daemon(), socket);
  const pid_t attacker = startSwapping(folder, link);
  // Without the daemon, root's own front end takes the administrator route (a plain root shell).
  std::vector<std::string> arguments{"--json", "system", "remove", "--yes"};
  if (viaDaemon) arguments.emplace_back("--via-helper");
  arguments.insert(arguments.end(), paths.begin(), paths.end());
  const auto result = runProgram(
      Installation::shared().frontEnd(), arguments, {}, 600,
      {"TIDYLOOM_HELPER_SOCKET=" + socket.string(), "XDG_DATA_HOME=" + tree.path("data").string(), "LANG=C"});
  ::kill(attacker, SIGKILL);
  ::waitpid(attacker, nullptr, 0);

  size_t intact = 0;
  for (int i = 0; i < kPaths; ++i) intact += readText(victim / ("x" + std::to_string(i) + ".gz")) == "root's own";
  const auto report = nlohmann::json::parse(result.out, nullptr, false);
  if (!report.is_object())
    std::cerr << result.status << " " << result.out.substr(0, 2000) << result.err.substr(0, 2000) << "\n";
  const size_t removed = report.is_object() ? report["removed"].size() : 0;
  const size_t failed = report.is_object() ? report["failed"].size() : 0;
  std::cerr << (viaDaemon ? "daemon" : "administrator shell") << " race: " << removed << " removed, " << failed
            << " refused, " << intact << " of " << kPaths << " outside intact\n";
  return intact == static_cast<size_t>(kPaths) && removed + failed == static_cast<size_t>(kPaths) && removed > 0 &&
         failed > 0;
}

TEST(DaemonRaceTest, ASwappedAncestorNeverLetsTheDaemonRemoveAnythingOutsideTheSection) {
  if (::geteuid() != 0) GTEST_SKIP() << "the daemon and its installation need root";
  TempTree tree;
  (void)Installation::shared();  // installed before the namespace, removed by this process at exit
  const auto outcome = inPrivateMounts({"/var/cache", "/root"}, [&] { return raceRounds(tree, true); });
  if (!outcome) GTEST_SKIP() << "no private mount namespace here";
  EXPECT_TRUE(*outcome);
}

TEST(DaemonRaceTest, ASwappedAncestorNeverLetsTheAdministratorShellRemoveAnythingOutsideTheSection) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root for the administrator shell and the namespace";
  TempTree tree;
  (void)Installation::shared();
  const auto outcome = inPrivateMounts({"/var/cache", "/root"}, [&] { return raceRounds(tree, false); });
  if (!outcome) GTEST_SKIP() << "no private mount namespace here";
  EXPECT_TRUE(*outcome);
}

}  // namespace
}  // namespace tidyloom::testing
