// Tool caches cleaned through the tool's own command (go, npm, pip, brew): the tool knows which of
// its files are still in use, which a plain deletion would not.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "clean/preview_types.h"
#include "core/records.h"

namespace tidyloom {

class OwnerCacheCleaner {
 public:
  // One tool: how to ask it where its cache is, and how to make it clean that cache.
  struct Tool {
    std::string task;  // the plan's task name, the command as a user would type it
    std::string executableName;
    std::vector<std::string> locateArguments;  // prints the cache folder on its first line
    std::string cacheSuffix;                   // appended to that folder ("" for none)
    std::vector<std::string> cleanArguments;
  };
  // Finds a program by name; nullopt when it is not installed.
  using ExecutableLookup = std::function<std::optional<std::string>(const std::string& name)>;

  static const std::vector<Tool>& defaultTools();

  OwnerCacheCleaner(std::vector<Tool> tools, ExecutableLookup lookup,
                    std::chrono::milliseconds probeTimeout = std::chrono::seconds(15),
                    std::chrono::milliseconds runTimeout = std::chrono::minutes(10));
  // The installed tools of this machine.
  static OwnerCacheCleaner live();
  // No tool at all (fixture trees: nothing outside the tree is looked at).
  static OwnerCacheCleaner none() { return OwnerCacheCleaner({}, nullptr); }

  // One plan per installed tool whose cache exists and holds something. Tools that do not answer
  // in time are left out.
  std::vector<OwnerCachePlan> inventory() const;

  // Runs each plan's command. A plan whose cache is whitelisted is skipped; a tool that cannot be
  // started is unavailable; a failing or hanging one failed. Freed bytes are the cache's shrinkage.
  RunReport run(const std::vector<OwnerCachePlan>& plans, const std::vector<std::string>& whitelist) const;

 private:
  std::optional<std::string> cachePath(const Tool& tool, const std::string& executable) const;
  const Tool* tool(const std::string& task) const;

  std::vector<Tool> tools_;
  ExecutableLookup lookup_;
  std::chrono::milliseconds probeTimeout_;
  std::chrono::milliseconds runTimeout_;
};

}  // namespace tidyloom
