// BoundedProbe: runs a child process until a deadline and collects its status and output.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace tidyloom {

class BoundedProbe {
 public:
  struct Result {
    bool launched = false;  // false when the executable could not be started at all
    int status = 0;         // exit status; 124 when stopped at the deadline; 128 + N for signal N
    bool timedOut = false;
    std::string output;       // standard output
    std::string errorOutput;  // standard error
  };
  using Deadline = std::chrono::steady_clock::time_point;

  // `environment` of nullopt inherits the caller's. Output beyond `maxOutputBytes` per stream is
  // read and dropped, so a chatty child can never block on a full pipe.
  static Result run(const std::string& executable, const std::vector<std::string>& arguments, Deadline until,
                    const std::optional<std::vector<std::string>>& environment = std::nullopt,
                    size_t maxOutputBytes = 16 * 1024 * 1024);

  static Result run(const std::string& executable, const std::vector<std::string>& arguments,
                    std::chrono::milliseconds timeout,
                    const std::optional<std::vector<std::string>>& environment = std::nullopt) {
    return run(executable, arguments, std::chrono::steady_clock::now() + timeout, environment);
  }
};

// Finds an executable by name in PATH; returns nullopt when there is none.
std::optional<std::string> findExecutable(const std::string& name);

}  // namespace tidyloom
