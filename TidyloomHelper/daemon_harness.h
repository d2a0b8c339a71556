// Test harness for the real daemon: a root-owned installation made by cmake --install, and a daemon
// started the way systemd's socket activation starts it.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "testing/private_mounts.h"
#include "testing/temp_tree.h"

namespace tidyloom::testing {

// The build installed into a fresh root-owned prefix (once per test binary; removed at exit).
class Installation {
 public:
  static const Installation& shared();
  std::filesystem::path prefix;
  std::filesystem::path frontEnd() const { return prefix / "bin" / "tidyloom"; }
  std::filesystem::path daemon() const { return prefix / "libexec" / "tidyloom" / "TidyloomHelper"; }
};

// A daemon on a listening socket passed as descriptor 3 with LISTEN_FDS=1 and LISTEN_PID, exactly
// as systemd hands it over. Killed when destroyed, unless it has exited by itself.
class ActivatedDaemon {
 public:
  ActivatedDaemon(const std::filesystem::path& executable, const std::filesystem::path& socket);
  ~ActivatedDaemon();
  ActivatedDaemon(const ActivatedDaemon&) = delete;
  ActivatedDaemon& operator=(const ActivatedDaemon&) = delete;

  // The exit status once the daemon has ended within `seconds`; nothing while it still runs.
  std::optional<int> waitForExit(double seconds);
  // What the daemon wrote to its standard error so far.
  std::string log() const;
  pid_t pid() const { return pid_; }

 private:
  pid_t pid_ = -1;
  int listener_ = -1;
  std::filesystem::path logFile_;
  std::optional<int> status_;
};

// Runs a program as the user "nobody" (for refusals that depend on not being root).
CommandResult runAsNobody(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                          const std::vector<std::string>& environment = {});

// A raw connection to a socket path; -1 when it cannot connect.
int connectTo(const std::filesystem::path& socket);

bool runningAsRoot();

}  // namespace tidyloom::testing
