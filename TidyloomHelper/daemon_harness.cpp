// The daemon harness: cmake --install into a temporary prefix, socket activation by hand.
#include "daemon_harness.h"

#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include "core/bounded_probe.h"

namespace tidyloom::testing {
namespace fs = std::filesystem;

bool runningAsRoot() { return ::geteuid() == 0; }

const Installation& Installation::shared() {
  static const Installation installation = [] {
    std::string pattern = (fs::temp_directory_path() / "tidyloom-install-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    ::chmod(pattern.c_str(), 0755);
    const char* build = std::getenv("TIDYLOOM_BINARY_DIR");
    const auto result =
        BoundedProbe::run(findExecutable("cmake").value_or("cmake"),
                          {"--install", build ? build : ".", "--prefix", pattern}, std::chrono::seconds(300));
    if (result.status != 0) throw std::runtime_error("cmake --install failed: " + result.errorOutput);
    static const std::string removeAtExit = pattern;
    std::atexit([] {
      std::error_code ignored;
      fs::remove_all(removeAtExit, ignored);
    });
    return Installation{pattern};
  }();
  return installation;
}

ActivatedDaemon::ActivatedDaemon(const fs::path& executable, const fs::path& socket) {
  listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, socket.c_str(), sizeof address.sun_path - 1);
  (void)::unlink(socket.c_str());
  if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || ::listen(listener_, 128) != 0) {
    throw std::runtime_error("cannot listen on " + socket.string());
  }
  ::chmod(socket.c_str(), 0666);
  logFile_ = socket.string() + ".log";
  pid_ = ::fork();
  if (pid_ == 0) {
    // As systemd does: the socket becomes descriptor 3, announced for this very process.
    if (listener_ == 3) {
      ::fcntl(3, F_SETFD, 0);
    } else {
      ::dup2(listener_, 3);
    }
    const int log = ::open(logFile_.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    ::dup2(log, STDERR_FILENO);
    ::setenv("LISTEN_FDS", "1", 1);
    ::setenv("LISTEN_PID", std::to_string(::getpid()).c_str(), 1);
    ::unsetenv("LISTEN_FDNAMES");
    ::execl(executable.c_str(), executable.c_str(), static_cast<char*>(nullptr));
    ::_exit(127);
  }
}

ActivatedDaemon::~ActivatedDaemon() {
  if (!status_ && pid_ > 0) {
    ::kill(pid_, SIGTERM);
    int status = 0;
    ::waitpid(pid_, &status, 0);
  }
  if (listener_ >= 0) ::close(listener_);
}

std::optional<int> ActivatedDaemon::waitForExit(double seconds) {
  const auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (!status_) {
    int status = 0;
    if (::waitpid(pid_, &status, WNOHANG) == pid_) {
      status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      break;
    }
    if (std::chrono::steady_clock::now() >= until) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return status_;
}

std::string ActivatedDaemon::log() const {
  std::ifstream in(logFile_);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

CommandResult runAsNobody(const fs::path& program, const std::vector<std::string>& arguments,
                          const std::vector<std::string>& environment) {
  int errPipe[2];
  if (::pipe(errPipe) != 0) return {};
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::dup2(errPipe[1], STDERR_FILENO);
    ::close(errPipe[0]);
    if (::setgroups(0, nullptr) != 0 || ::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(126);
    for (const auto& entry : environment) ::putenv(const_cast<char*>(entry.c_str()));
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    ::execv(program.c_str(), argv.data());
    ::_exit(127);
  }
  ::close(errPipe[1]);
  CommandResult result;
  char buffer[4096];
  for (ssize_t n; (n = ::read(errPipe[0], buffer, sizeof buffer)) > 0;)
    result.err.append(buffer, static_cast<size_t>(n));
  ::close(errPipe[0]);
  int status = 0;
  ::waitpid(pid, &status, 0);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

int connectTo(const fs::path& socket) {
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, socket.c_str(), sizeof address.sun_path - 1);
  if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

}  // namespace tidyloom::testing
