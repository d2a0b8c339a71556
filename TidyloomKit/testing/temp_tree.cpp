// TempTree and the program runner used by end-to-end tests.
#include "testing/temp_tree.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "core/bounded_probe.h"

extern char** environ;

namespace tidyloom::testing {
namespace fs = std::filesystem;

TempTree::TempTree() {
  std::string pattern = (fs::temp_directory_path() / "tidyloom-test-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  root_ = fs::canonical(pattern);
}

TempTree::~TempTree() {
  // Restore permissions first so that unreadable folders made by a test can be removed.
  std::error_code ec;
  for (auto it = fs::recursive_directory_iterator(root_, fs::directory_options::skip_permission_denied, ec);
       it != fs::recursive_directory_iterator(); it.increment(ec)) {
    if (!it->is_symlink(ec) && it->is_directory(ec)) ::chmod(it->path().c_str(), 0755);
  }
  ::chmod(root_.c_str(), 0755);
  for (auto& entry : fs::recursive_directory_iterator(root_, ec)) {
    if (!entry.is_symlink(ec) && entry.is_directory(ec)) ::chmod(entry.path().c_str(), 0755);
  }
  fs::remove_all(root_, ec);
}

fs::path TempTree::path(const std::string& relative) const {
  const fs::path full = (root_ / relative).lexically_normal();
  const std::string text = full.string();
  if (text != root_.string() && text.rfind(root_.string() + "/", 0) != 0) {
    ADD_FAILURE() << "path leaves the test tree: " << relative;
    throw std::runtime_error("path leaves the test tree");
  }
  return full;
}

fs::path TempTree::file(const std::string& relative, std::uint64_t size, char fill) const {
  const fs::path p = path(relative);
  fs::create_directories(p.parent_path());
  std::ofstream out(p, std::ios::binary | std::ios::trunc);
  const std::string block(65536, fill);
  for (std::uint64_t left = size; left > 0;) {
    const auto n = std::min<std::uint64_t>(left, block.size());
    out.write(block.data(), static_cast<std::streamsize>(n));
    left -= n;
  }
  return p;
}

fs::path TempTree::text(const std::string& relative, const std::string& contents) const {
  const fs::path p = path(relative);
  fs::create_directories(p.parent_path());
  std::ofstream(p, std::ios::binary | std::ios::trunc) << contents;
  return p;
}

fs::path TempTree::dir(const std::string& relative) const {
  const fs::path p = path(relative);
  fs::create_directories(p);
  return p;
}

fs::path TempTree::symlink(const std::string& relative, const fs::path& target) const {
  const fs::path p = path(relative);
  fs::create_directories(p.parent_path());
  fs::create_symlink(target, p);
  return p;
}

fs::path TempTree::hardlink(const std::string& relative, const std::string& existing) const {
  const fs::path p = path(relative);
  fs::create_directories(p.parent_path());
  fs::create_hard_link(path(existing), p);
  return p;
}

void TempTree::age(const std::string& relative, double days) const {
  const auto when = std::chrono::system_clock::now() - std::chrono::duration<double>(days * 86400.0);
  const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(when.time_since_epoch()).count();
  timespec times[2];
  times[0].tv_sec = times[1].tv_sec = static_cast<time_t>(ns / 1000000000);
  times[0].tv_nsec = times[1].tv_nsec = static_cast<long>(ns % 1000000000);
  ::utimensat(AT_FDCWD, path(relative).c_str(), times, AT_SYMLINK_NOFOLLOW);
}

void TempTree::mode(const std::string& relative, unsigned mode) const { ::chmod(path(relative).c_str(), mode); }

OpenFileHolder::OpenFileHolder(const fs::path& path) {
  int ready[2];
  if (::pipe(ready) != 0) return;
  pid_ = ::fork();
  if (pid_ == 0) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    (void)!::write(ready[1], fd >= 0 ? "1" : "0", 1);
    ::pause();
    ::_exit(0);
  }
  char answer = '0';
  if (pid_ > 0) (void)!::read(ready[0], &answer, 1);
  ::close(ready[0]);
  ::close(ready[1]);
  holding_ = answer == '1';
}

OpenFileHolder::~OpenFileHolder() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  ::waitpid(pid_, nullptr, 0);
}

fs::path builtProgram(const std::string& name) {
  const char* dir = std::getenv("TIDYLOOM_BINARY_DIR");
  const fs::path base = dir ? fs::path(dir) : fs::current_path();
  for (const auto& candidate : {base / "tidyloom" / name, base / "TidyloomHelper" / name, base / name}) {
    if (fs::exists(candidate)) return candidate;
  }
  return base / name;
}

CommandResult runProgram(const fs::path& program, const std::vector<std::string>& arguments, const std::string& input,
                         int seconds, const std::vector<std::string>& extraEnvironment) {
  // Standard input is given through a file so the runner stays a plain BoundedProbe.
  // An override replaces the inherited variable: getenv returns the first match, so both must not stand.
  auto overridden = [&](std::string_view entry) {
    const auto name = entry.substr(0, entry.find('=') + 1);
    return std::any_of(extraEnvironment.begin(), extraEnvironment.end(),
                       [&](const std::string& extra) { return extra.starts_with(name); });
  };
  std::vector<std::string> env;
  for (char** e = environ; *e; ++e) {
    if (!overridden(*e)) env.emplace_back(*e);
  }
  env.insert(env.end(), extraEnvironment.begin(), extraEnvironment.end());
  std::vector<std::string> shellArgs{"-c", "exec \"$0\" \"$@\" < \"$TIDYLOOM_TEST_STDIN\"", program.string()};
  shellArgs.insert(shellArgs.end(), arguments.begin(), arguments.end());
  char name[] = "/tmp/tidyloom-stdin-XXXXXX";
  const int fd = ::mkstemp(name);
  if (fd >= 0) {
    (void)!::write(fd, input.data(), input.size());
    ::close(fd);
  }
  env.push_back(std::string("TIDYLOOM_TEST_STDIN=") + name);
  const auto result = BoundedProbe::run("/bin/sh", shellArgs, std::chrono::seconds(seconds), env);
  ::unlink(name);
  return {result.status, result.output, result.errorOutput};
}

std::string readText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

CommandResult runProgramInterrupted(const fs::path& program, const std::vector<std::string>& arguments,
                                    const std::function<bool()>& sendWhen,
                                    const std::vector<std::string>& extraEnvironment) {
  const TempTree scratch;
  const fs::path out = scratch.path("out");
  const fs::path err = scratch.path("err");
  std::vector<std::string> words{program.string()};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (auto& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  std::vector<std::string> env;
  for (char** e = environ; *e; ++e) env.emplace_back(*e);
  env.insert(env.end(), extraEnvironment.begin(), extraEnvironment.end());
  std::vector<char*> envp;
  // Later entries win: the overrides are put first.
  for (auto it = env.rbegin(); it != env.rend(); ++it) envp.push_back(it->data());
  envp.push_back(nullptr);

  const pid_t child = ::fork();
  if (child == 0) {
    const int o = ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int e = ::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int in = ::open("/dev/null", O_RDONLY);
    if (o < 0 || e < 0 || in < 0) ::_exit(127);
    ::dup2(in, 0);
    ::dup2(o, 1);
    ::dup2(e, 2);
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::signal(SIGINT, SIG_DFL);
    ::execve(argv[0], argv.data(), envp.data());
    ::_exit(127);
  }
  CommandResult result;
  if (child < 0) return result;
  const auto ended = [&] {
    siginfo_t info{};
    return ::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
  };
  for (int waited = 0; waited < 12000 && !sendWhen() && !ended(); ++waited) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  ::kill(child, SIGINT);
  int status = 0;
  for (int waited = 0; ::waitpid(child, &status, WNOHANG) == 0; ++waited) {
    if (waited == 1200) {
      ::kill(child, SIGKILL);
      ::waitpid(child, &status, 0);
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.out = readText(out);
  result.err = readText(err);
  return result;
}

}  // namespace tidyloom::testing
