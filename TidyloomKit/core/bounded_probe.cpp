// BoundedProbe on posix_spawn: the child leads its own process group, so the deadline kills it
// together with everything it started.
#include "core/bounded_probe.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <sstream>

#include "platform/pipe.h"

extern char** environ;

namespace tidyloom {
namespace {

struct Pipe {
  int read = -1;
  int write = -1;
  bool open() {
    int fds[2];
    if (!platform::openCloseOnExecPipe(fds)) return false;
    read = fds[0];
    write = fds[1];
    return true;
  }
  void closeBoth() {
    if (read >= 0) ::close(read);
    if (write >= 0) ::close(write);
    read = write = -1;
  }
};

std::vector<char*> pointers(std::vector<std::string>& strings) {
  std::vector<char*> out;
  out.reserve(strings.size() + 1);
  for (auto& s : strings) out.push_back(s.data());
  out.push_back(nullptr);
  return out;
}

int statusOf(int raw) {
  if (WIFEXITED(raw)) return WEXITSTATUS(raw);
  if (WIFSIGNALED(raw)) return 128 + WTERMSIG(raw);
  return 1;
}

}  // namespace

BoundedProbe::Result BoundedProbe::run(const std::string& executable, const std::vector<std::string>& arguments,
                                       Deadline until, const std::optional<std::vector<std::string>>& environment,
                                       size_t maxOutputBytes) {
  Result result;
  Pipe out, err;
  if (!out.open() || !err.open()) {
    out.closeBoth();
    err.closeBoth();
    return result;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, out.write, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, err.write, STDERR_FILENO);
  posix_spawnattr_t attr;
  posix_spawnattr_init(&attr);
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  sigaddset(&defaults, SIGINT);
  sigaddset(&defaults, SIGTERM);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigdefault(&attr, &defaults);
  posix_spawnattr_setsigmask(&attr, &none);
  posix_spawnattr_setpgroup(&attr, 0);
  posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);

  std::vector<std::string> argv{executable};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  auto argvp = pointers(argv);
  std::vector<std::string> envCopy = environment.value_or(std::vector<std::string>{});
  auto envp = pointers(envCopy);

  pid_t pid = -1;
  const int spawnError =
      ::posix_spawn(&pid, executable.c_str(), &actions, &attr, argvp.data(), environment ? envp.data() : environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attr);
  ::close(out.write);
  ::close(err.write);
  out.write = err.write = -1;
  if (spawnError != 0) {
    out.closeBoth();
    err.closeBoth();
    return result;
  }
  result.launched = true;

  std::array<pollfd, 2> fds{{{out.read, POLLIN, 0}, {err.read, POLLIN, 0}}};
  std::array<std::string*, 2> sinks{&result.output, &result.errorOutput};
  int openStreams = 2;
  char buffer[65536];
  while (openStreams > 0) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      result.timedOut = true;
      break;
    }
    const int ready = ::poll(fds.data(), fds.size(), static_cast<int>(std::min<long long>(left.count(), 1000)));
    if (ready < 0 && errno != EINTR) break;
    for (size_t i = 0; i < fds.size(); ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      const ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
      if (n > 0) {
        if (sinks[i]->size() < maxOutputBytes) sinks[i]->append(buffer, static_cast<size_t>(n));
      } else if (n == 0 || (errno != EINTR && errno != EAGAIN)) {
        fds[i].fd = -1;
        --openStreams;
      }
    }
  }
  out.closeBoth();
  err.closeBoth();

  int raw = 0;
  if (!result.timedOut) {
    // Output closed; the child may still be running with its pipes closed, so keep the deadline.
    while (true) {
      const pid_t done = ::waitpid(pid, &raw, WNOHANG);
      if (done == pid) {
        result.status = statusOf(raw);
        return result;
      }
      if (done < 0 && errno != EINTR) return result;
      if (std::chrono::steady_clock::now() >= until) {
        result.timedOut = true;
        break;
      }
      ::usleep(2000);
    }
  }
  (void)::kill(-pid, SIGKILL);
  while (::waitpid(pid, &raw, 0) < 0 && errno == EINTR) {
  }
  result.status = 124;
  return result;
}

std::optional<std::string> findExecutable(const std::string& name) {
  if (name.find('/') != std::string::npos) {
    return ::access(name.c_str(), X_OK) == 0 ? std::optional(name) : std::nullopt;
  }
  const char* path = std::getenv("PATH");
  std::stringstream dirs(path ? path : "/usr/local/bin:/usr/bin:/bin");
  std::string dir;
  while (std::getline(dirs, dir, ':')) {
    if (dir.empty()) continue;
    const std::string candidate = dir + "/" + name;
    struct stat st {};
    if (::stat(candidate.c_str(), &st) == 0 && S_ISREG(st.st_mode) && ::access(candidate.c_str(), X_OK) == 0) {
      return candidate;
    }
  }
  return std::nullopt;
}

}  // namespace tidyloom
