// TempTree: a fresh temporary folder per test with helpers to build real fixture trees.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace tidyloom::testing {

class TempTree {
 public:
  TempTree();
  ~TempTree();
  TempTree(const TempTree&) = delete;
  TempTree& operator=(const TempTree&) = delete;

  const std::filesystem::path& root() const { return root_; }
  // Absolute path of `relative` inside the tree; fails the test if it would leave the tree.
  std::filesystem::path path(const std::string& relative) const;

  // Creates parent folders as needed. Sizes are written as real data (not sparse).
  std::filesystem::path file(const std::string& relative, std::uint64_t size = 0, char fill = 'x') const;
  std::filesystem::path text(const std::string& relative, const std::string& contents) const;
  std::filesystem::path dir(const std::string& relative) const;
  std::filesystem::path symlink(const std::string& relative, const std::filesystem::path& target) const;
  std::filesystem::path hardlink(const std::string& relative, const std::string& existing) const;
  // Sets access and modification time to `days` days ago (no symlink following).
  void age(const std::string& relative, double days) const;
  void mode(const std::string& relative, unsigned mode) const;

 private:
  std::filesystem::path root_;
};

// A child process that holds a file open for appending until it is destroyed, as a program holds
// its log.
class OpenFileHolder {
 public:
  explicit OpenFileHolder(const std::filesystem::path& path);
  ~OpenFileHolder();
  OpenFileHolder(const OpenFileHolder&) = delete;
  OpenFileHolder& operator=(const OpenFileHolder&) = delete;
  bool holding() const { return holding_; }

 private:
  int pid_ = -1;
  bool holding_ = false;
};

// The whole contents of a file; empty when it cannot be read.
std::string readText(const std::filesystem::path& path);

// Path of a built program (tidyloom, TidyloomHelper) in the build tree under test.
std::filesystem::path builtProgram(const std::string& name);

struct CommandResult {
  int status = -1;
  std::string out;
  std::string err;
};
// Runs a program with arguments and optional standard input; waits up to `seconds`.
CommandResult runProgram(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                         const std::string& input = {}, int seconds = 120,
                         const std::vector<std::string>& extraEnvironment = {});

// Runs a program, sends it SIGINT (as Ctrl-C does) once `sendWhen` says so (looked at every 5 ms),
// and waits for it to end.
CommandResult runProgramInterrupted(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                                    const std::function<bool()>& sendWhen,
                                    const std::vector<std::string>& extraEnvironment = {});

}  // namespace tidyloom::testing
