// Tool caches cleaned through the tool's own command (go, npm, pip, brew): the tool knows which of
// its files are still in use, which a plain deletion would not.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "clean/preview_types.h"
#include "core/records.h"

namespace tidyloom {

// Where the tools of one user look: the same home and base folders as the rest of the run. The
// tools' cache commands run with these in their environment.
struct ToolPlaces {
  std::filesystem::path home;
  std::filesystem::path cacheHome;   // $XDG_CACHE_HOME on Linux, ~/Library/Caches on macOS
  std::filesystem::path configHome;  // $XDG_CONFIG_HOME on Linux, ~/Library/Application Support on macOS
  // Variables set for the tools over this process's environment ("NAME=value").
  std::vector<std::string> overrides;

  // The places of the user whose home is `home`, with the tools kept quiet (no update checks, no
  // log files, no telemetry).
  static ToolPlaces forHome(const std::filesystem::path& home);
  // A variable as the tools see it.
  std::optional<std::string> variable(const std::string& name) const;
  // This process's environment with the overrides applied.
  std::vector<std::string> environment() const;
};

class OwnerCacheCleaner {
 public:
  // One tool: where its cache is (read from its own settings, never by running it, so that a
  // preview writes nothing), and how to make it clean that cache.
  struct Tool {
    std::string task;  // the plan's task name, the command as a user would type it
    std::string executableName;
    std::function<std::optional<std::filesystem::path>(const ToolPlaces&)> locate;
    std::vector<std::string> cleanArguments;
  };
  // Finds a program by name; nullopt when it is not installed.
  using ExecutableLookup = std::function<std::optional<std::string>(const std::string& name)>;

  static const std::vector<Tool>& defaultTools();

  OwnerCacheCleaner(std::vector<Tool> tools, ExecutableLookup lookup, ToolPlaces places,
                    std::chrono::milliseconds runTimeout = std::chrono::minutes(10));
  // The installed tools of this machine, for the user whose home is `home`.
  static OwnerCacheCleaner live(const std::filesystem::path& home);
  // No tool at all (fixture trees: nothing outside the tree is looked at).
  static OwnerCacheCleaner none() { return OwnerCacheCleaner({}, nullptr, {}); }

  // One plan per installed tool whose cache exists and holds something.
  std::vector<OwnerCachePlan> inventory() const;

  // Runs each plan's command. A plan whose cache is whitelisted is skipped; a tool that cannot be
  // started is unavailable; a failing or hanging one failed. Freed bytes are the cache's shrinkage.
  RunReport run(const std::vector<OwnerCachePlan>& plans, const std::vector<std::string>& whitelist) const;

 private:
  const Tool* tool(const std::string& task) const;

  std::vector<Tool> tools_;
  ExecutableLookup lookup_;
  ToolPlaces places_;
  std::chrono::milliseconds runTimeout_;
};

}  // namespace tidyloom
