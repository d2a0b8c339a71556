// End-to-end tests of the built `tidyloom` binary: exit statuses, global options, languages, JSON,
// the status command, Ctrl-C and colour on a terminal.
#include <pty.h>
#include <signal.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <set>
#include <sstream>
#include <thread>

#include "commands.h"
#include "core/bounded_probe.h"
#include "core/user_defaults.h"
#include "testing/temp_tree.h"

extern char** environ;

namespace tidyloom::cli {
namespace {

using testing::TempTree;

// The environment of this test with the locale and colour variables replaced by `overrides`, so the
// language the binary picks never depends on the shell that runs the suite.
std::vector<std::string> environment(const std::vector<std::string>& overrides) {
  std::vector<std::string> env;
  for (char** e = environ; *e; ++e) {
    const std::string entry = *e;
    const std::string name = entry.substr(0, entry.find('='));
    if (name == "LANG" || name == "LANGUAGE" || name.starts_with("LC_") || name == "NO_COLOR") continue;
    env.push_back(entry);
  }
  env.insert(env.end(), overrides.begin(), overrides.end());
  return env;
}

struct Run {
  int status = -1;
  std::string out;
  std::string err;
};

Run tidyloom(const std::vector<std::string>& arguments, const std::vector<std::string>& env = {"LANG=C"}) {
  const auto result = BoundedProbe::run(testing::builtProgram("tidyloom").string(), arguments, std::chrono::seconds(60),
                                        environment(env));
  return {result.status, result.output, result.errorOutput};
}

size_t lines(const std::string& text) { return static_cast<size_t>(std::count(text.begin(), text.end(), '\n')); }

struct UsageCase {
  std::vector<std::string> arguments;
  int status;
  const char* errorMentions;
};

// Readable test names in ctest instead of the case's bytes.
void PrintTo(const UsageCase& c, std::ostream* out) {
  *out << (c.arguments.empty() ? std::string("(none)") : "");
  for (const auto& a : c.arguments) *out << a << ' ';
}

class UsageTest : public ::testing::TestWithParam<UsageCase> {};

TEST_P(UsageTest, BadInvocationsExitTwoWithOneLineReason) {
  const auto& c = GetParam();
  const auto run = tidyloom(c.arguments);
  EXPECT_EQ(run.status, c.status) << run.err;
  EXPECT_TRUE(run.out.empty()) << run.out;
  EXPECT_EQ(lines(run.err), 1u) << run.err;
  EXPECT_NE(run.err.find(c.errorMentions), std::string::npos) << run.err;
  EXPECT_EQ(run.err.rfind("tidyloom: ", 0), 0u) << run.err;
}

INSTANTIATE_TEST_SUITE_P(
    Table, UsageTest,
    ::testing::Values(UsageCase{{"frobnicate"}, 2, "Unknown command: frobnicate"}, UsageCase{{}, 2, "No command"},
                      UsageCase{{"status", "--bogus"}, 2, "--bogus"}, UsageCase{{"--bogus", "status"}, 2, "--bogus"},
                      UsageCase{{"--lang", "xx", "status"}, 2, "xx"}, UsageCase{{"status", "--lang", "xx"}, 2, "xx"},
                      UsageCase{{"status", "--count", "2"}, 2, "--watch"},
                      UsageCase{{"status", "--watch", "0"}, 2, "positive"},
                      UsageCase{{"status", "--watch", "soon"}, 2, "soon"}, UsageCase{{"--fixture"}, 2, "--fixture"},
                      UsageCase{{"status", "surplus"}, 2, "surplus"}));

TEST(CliTest, HelpAndVersionExitZeroForTheProgramAndEveryCommand) {
  const auto help = tidyloom({"--help"});
  EXPECT_EQ(help.status, 0);
  const auto version = tidyloom({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.rfind("tidyloom ", 0), 0u) << version.out;
  for (const auto& command : commands()) {
    // Internal commands (the administrator shell's removal entry) answer --help but are not listed.
    EXPECT_EQ(help.out.find(command.name) != std::string::npos, command.summary != nullptr) << command.name;
    const auto sub = tidyloom({command.name, "--help"});
    EXPECT_EQ(sub.status, 0) << command.name;
    EXPECT_NE(sub.out.find("Usage"), std::string::npos) << command.name;
  }
}

TEST(CliTest, GlobalOptionsWorkBeforeAndAfterTheCommand) {
  TempTree tree;
  for (const auto& arguments :
       std::vector<std::vector<std::string>>{{"--json", "--fixture", tree.root().string(), "status"},
                                             {"status", "--json", "--fixture", tree.root().string(), "--no-progress"},
                                             {"--lang", "en", "status", "--json"}}) {
    const auto run = tidyloom(arguments);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(nlohmann::json::accept(run.out)) << run.out;
  }
}

TEST(CliTest, LanguageComesFromTheOptionThenTheStoredChoiceThenTheLocale) {
  TempTree tree;
  const std::string fixture = tree.root().string();
  const auto says = [&](const std::vector<std::string>& arguments, const std::vector<std::string>& env) {
    std::vector<std::string> all{"--fixture", fixture};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const auto run = tidyloom(all, env);
    EXPECT_EQ(run.status, 0) << run.err;
    if (run.out.find("健康评分") != std::string::npos) return std::string("zh");
    if (run.out.find("Health score") != std::string::npos) return std::string("en");
    return run.out;
  };
  EXPECT_EQ(says({"--lang", "zh-Hans", "status"}, {"LANG=C"}), "zh");
  EXPECT_EQ(says({"status", "--lang", "en"}, {"LANG=zh_CN.UTF-8"}), "en");
  EXPECT_EQ(says({"status"}, {"LANG=zh_CN.UTF-8"}), "zh");
  EXPECT_EQ(says({"status"}, {"LANG=fr_FR.UTF-8"}), "en");  // no French catalogue: English

  // The stored choice lives in the fixture's user defaults under "tidyloom.language".
  const UserDefaults defaults(tree.path("Library/Preferences/com.tidyloom.app.json"));
  defaults.set("tidyloom.language", "zh-Hans");
  EXPECT_EQ(says({"status"}, {"LANG=C"}), "zh");
  EXPECT_EQ(says({"--lang", "en", "status"}, {"LANG=C"}), "en");
  defaults.set("tidyloom.language", "system");
  EXPECT_EQ(says({"status"}, {"LANG=zh_CN.UTF-8"}), "zh");
  defaults.set("tidyloom.language", "klingon");
  EXPECT_EQ(says({"status"}, {"LANG=C"}), "en");

  // Usage errors are localised too, even though they happen before the command runs.
  const auto error = tidyloom({"--lang", "zh-Hans", "frobnicate"});
  EXPECT_NE(error.err.find("未知命令：frobnicate"), std::string::npos) << error.err;
}

TEST(StatusCommandTest, JsonIsExactlyOneSnapshotWithTrueFigures) {
  TempTree tree;
  tree.file(".Trash/old.iso", 300000);
  const auto run = tidyloom({"--fixture", tree.root().string(), "--json", "status"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(run.err.empty()) << run.err;
  const auto json = nlohmann::json::parse(run.out);  // throws on anything after the document
  std::set<std::string> keys;
  for (const auto& [key, value] : json.items()) keys.insert(key);
  EXPECT_EQ(keys, (std::set<std::string>{"host_name", "health_score", "health_score_msg", "process_count",
                                         "physical_memory_bytes", "memory_pressure", "disk_free_bytes",
                                         "disk_purgeable_bytes", "disk_total_bytes", "trash_size", "uptime_seconds",
                                         "top_processes", "captured_at"}));
  EXPECT_GE(json.at("trash_size").get<std::uint64_t>(), 300000u);
  EXPECT_LT(json.at("trash_size").get<std::uint64_t>(), 400000u);
  struct statvfs fs {};
  ASSERT_EQ(::statvfs("/", &fs), 0);
  EXPECT_EQ(json.at("disk_total_bytes").get<std::uint64_t>(), static_cast<std::uint64_t>(fs.f_blocks) * fs.f_frsize);
  EXPECT_GT(json.at("process_count").get<int>(), 1);
  EXPECT_EQ(json.at("top_processes").size(), std::min(5, json.at("process_count").get<int>()));
  EXPECT_EQ(json.at("disk_purgeable_bytes"), 0);
}

TEST(StatusCommandTest, WatchPrintsOneCompactDocumentPerLineOrOneSummaryEach) {
  const auto json = tidyloom({"--json", "status", "--watch", "0.2", "--count", "3"});
  ASSERT_EQ(json.status, 0) << json.err;
  std::istringstream in(json.out);
  std::string line;
  size_t documents = 0;
  while (std::getline(in, line)) {
    EXPECT_EQ(nlohmann::json::parse(line).size(), 13u);
    ++documents;
  }
  EXPECT_EQ(documents, 3u);

  const auto human = tidyloom({"--lang", "en", "status", "--watch", "0.1", "--count", "2"});
  ASSERT_EQ(human.status, 0) << human.err;
  size_t summaries = 0;
  for (size_t at = 0; (at = human.out.find("Health score", at)) != std::string::npos; ++at) ++summaries;
  EXPECT_EQ(summaries, 2u);
  EXPECT_EQ(human.out.find('\033'), std::string::npos) << "no colour into a pipe";
}

// Starts tidyloom with standard output on a pipe (or a terminal when `terminal`), returns its pid
// and the read end.
pid_t spawn(const std::vector<std::string>& arguments, const std::vector<std::string>& env, bool terminal, int& fd) {
  std::vector<std::string> argvText{testing::builtProgram("tidyloom").string()};
  argvText.insert(argvText.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (auto& a : argvText) argv.push_back(a.data());
  argv.push_back(nullptr);
  auto envText = environment(env);
  std::vector<char*> envp;
  for (auto& e : envText) envp.push_back(e.data());
  envp.push_back(nullptr);
  if (terminal) {
    winsize size{40, 120, 0, 0};
    const pid_t pid = ::forkpty(&fd, nullptr, nullptr, &size);
    if (pid == 0) {
      ::execve(argv[0], argv.data(), envp.data());
      ::_exit(127);
    }
    return pid;
  }
  int pipeFds[2];
  if (::pipe(pipeFds) != 0) return -1;
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::dup2(pipeFds[1], STDOUT_FILENO);
    ::close(pipeFds[0]);
    ::close(pipeFds[1]);
    ::execve(argv[0], argv.data(), envp.data());
    ::_exit(127);
  }
  ::close(pipeFds[1]);
  fd = pipeFds[0];
  return pid;
}

// Reads until end of file (or EIO, which a terminal gives when the child is gone).
std::string readAll(int fd) {
  std::string out;
  char buffer[4096];
  for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;) out.append(buffer, static_cast<size_t>(n));
  ::close(fd);
  return out;
}

int waitFor(pid_t pid) {
  int status = 0;
  if (::waitpid(pid, &status, 0) != pid) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

TEST(StatusCommandTest, CtrlCEndsAnEndlessWatchWithStatus130) {
  int fd = -1;
  const pid_t pid = spawn({"--json", "status", "--watch", "30"}, {"LANG=C"}, false, fd);
  ASSERT_GT(pid, 0);
  std::string first;
  char c = 0;
  while (::read(fd, &c, 1) == 1 && c != '\n') first += c;
  EXPECT_EQ(nlohmann::json::parse(first).size(), 13u);
  ::kill(pid, SIGINT);
  const auto started = std::chrono::steady_clock::now();
  const std::string rest = readAll(fd);
  EXPECT_EQ(waitFor(pid), 130);
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(20));
  EXPECT_TRUE(rest.empty()) << rest;
}

TEST(StatusCommandTest, ColourOnlyOnATerminalAndNeverWithNoColor) {
  int fd = -1;
  pid_t pid = spawn({"--lang", "en", "--no-progress", "status"}, {"LANG=C", "TERM=xterm"}, true, fd);
  ASSERT_GT(pid, 0);
  const std::string coloured = readAll(fd);
  EXPECT_EQ(waitFor(pid), 0);
  EXPECT_NE(coloured.find("Health score"), std::string::npos) << coloured;
  EXPECT_NE(coloured.find("\033["), std::string::npos) << coloured;

  pid = spawn({"--lang", "en", "--no-progress", "status"}, {"LANG=C", "TERM=xterm", "NO_COLOR=1"}, true, fd);
  ASSERT_GT(pid, 0);
  const std::string plain = readAll(fd);
  EXPECT_EQ(waitFor(pid), 0);
  EXPECT_NE(plain.find("Health score"), std::string::npos) << plain;
  EXPECT_EQ(plain.find('\033'), std::string::npos) << plain;
}

}  // namespace
}  // namespace tidyloom::cli
