// Context: what every command handler gets: the global options, where things live, output, progress.
#pragma once

#include <optional>
#include <stop_token>
#include <string>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "core/locations.h"
#include "progress.h"

namespace tidyloom::cli {

struct GlobalOptions {
  std::string fixture;
  std::string lang;
  bool json = false;
  bool noProgress = false;
};

// Exit statuses of the command line.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitInterrupted = 130;

class Context {
 public:
  GlobalOptions options;

  const Locations& locations() const;
  bool fixtureMode() const { return !options.fixture.empty(); }
  bool json() const { return options.json; }
  // Stopped when the user presses Ctrl-C.
  std::stop_token stopToken() const;
  bool interrupted() const { return stopToken().stop_requested(); }
  // The progress line on standard error (drawn only on a terminal and without --no-progress).
  ProgressLine& progress();

  void printJson(const nlohmann::json& document) const;
  // One compact document on a line of its own (for series such as `status --watch`).
  void printJsonLine(const nlohmann::json& document) const;
  // A message for the person on standard error.
  void note(const std::string& message) const;
  void warn(const std::string& message) const;
  void error(const std::string& message) const;

  // In fixture mode, refuses (UsageError) a path that does not lie inside the fixture folder once
  // links are resolved: a fixture run reads nothing outside it. Does nothing in live mode.
  void requireInsideFixture(const std::filesystem::path& path) const;

  // Asks a yes/no question on standard error and reads the answer from standard input.
  bool confirm(const std::string& question) const;

 private:
  mutable std::optional<Locations> locations_;
  std::optional<ProgressLine> progress_;
};

// A CLI check that accepts numbers above zero, with a localised reason.
CLI::Validator positiveNumber();

// Throws CLI-level usage errors (exit 2) from handlers.
struct UsageError {
  std::string message;
};

}  // namespace tidyloom::cli
