// Guards that keep a cache while the program using it runs: application families (browsers, sync
// clients, editors...), developer tools, and the owner of a per-application cache folder.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/process_list.h"

namespace tidyloom {

enum class ActivityState { idle, active, unknown };

using ProcessList = std::vector<platform::RunningProcess>;
// Takes a fresh look at the running processes; nullopt when that is impossible.
using ProcessListing = std::function<std::optional<ProcessList>()>;
ProcessListing liveProcessListing();
// Fixture mode: nothing counts as running.
ProcessListing idleProcessListing();

// How a family of programs shows up in the process list. Names of both platforms are listed
// together: a Linux process is never called "Google Chrome Helper", nor a macOS one "chromium".
struct ProcessSignature {
  std::string_view raw;          // the family's raw value in the rule file
  std::string_view displayName;  // shown as the application holding a cache
  std::vector<std::string_view> bundleIdentifiers;
  std::vector<std::string_view> processNames;
};

// True when the process's name, program file name, one of its first arguments' file names, or its
// bundle identifier is one of `names` (exact, case-sensitive).
bool processMatches(const platform::RunningProcess& process, const std::vector<std::string_view>& names);

// Gate paths of one kind of family: which family owns a path, and which families are running.
class FamilyGates {
 public:
  using Gate = std::pair<std::string, std::vector<std::string>>;  // family raw value, relative paths

  FamilyGates(const std::vector<ProcessSignature>& table, std::vector<Gate> gates, ProcessListing listing);

  // The family whose gate path holds `path` (a gate path ending in "/" is a folder; otherwise a
  // plain prefix, so that it also holds its siblings' variants such as "Chrome Canary"), or whose
  // gate folder lies inside `path`.
  std::optional<std::string> family(const std::string& path, const std::filesystem::path& home) const;
  // State of every family named in the gates, from one fresh process list.
  std::map<std::string, ActivityState> states() const;
  const ProcessSignature* signature(std::string_view raw) const;
  bool knows(std::string_view raw) const { return signature(raw) != nullptr; }

 private:
  const std::vector<ProcessSignature>* table_;
  std::vector<Gate> gates_;
  ProcessListing listing_;
};

// Applications whose caches must not be swept while they run.
class ProductProcessActivity {
 public:
  enum class Family {
    chrome,
    edge,
    brave,
    firefox,
    arc,
    vivaldi,
    qqbrowser,
    dia,
    utm,
    dropbox,
    googleDrive,
    oneDrive,
    mail,
    jianying,
    futu,
    vscode,
    cursor,
    zed,
    codebuddyShared,
    codebuddyCN,
    discord,
    legcord,
    slack,
    teams,
    mihomoParty,
  };
  static std::string_view rawValue(Family family);
  static std::optional<Family> familyFromRaw(std::string_view raw);
  // One row per family, in the order of the enumeration.
  static const std::vector<ProcessSignature>& families();

  ProductProcessActivity(std::vector<FamilyGates::Gate> gates, ProcessListing listing)
      : gates_(families(), std::move(gates), std::move(listing)) {}

  std::optional<std::string> family(const std::string& path, const std::filesystem::path& home) const {
    return gates_.family(path, home);
  }
  std::map<std::string, ActivityState> states() const { return gates_.states(); }
  const ProcessSignature* signature(std::string_view raw) const { return gates_.signature(raw); }
  // A localised reason to keep the path now (its application runs, or that cannot be told).
  std::optional<std::string> blockReason(const std::string& path, const std::filesystem::path& home) const;

 private:
  FamilyGates gates_;
};

// Developer tools whose caches are in use while a build, an editor or an agent runs.
class DeveloperCacheActivity {
 public:
  enum class Family {
    xcode,
    simulator,
    gradle,
    rust,
    github,
    clang,
    pyinstaller,
    pnpm,
    goModules,
    claude,
    codex,
    antigravity,
    devtools,
    agentBrowser,
    electronTools,
    messaging,
    frontendBuild,
    tart,
  };
  static std::string_view rawValue(Family family);
  static std::optional<Family> familyFromRaw(std::string_view raw);
  // One row per family, in the order of the enumeration.
  static const std::vector<ProcessSignature>& families();

  DeveloperCacheActivity(std::vector<FamilyGates::Gate> gates, ProcessListing listing)
      : gates_(families(), std::move(gates), std::move(listing)) {}

  std::optional<std::string> blockReason(const std::string& path, const std::filesystem::path& home) const;
  // Same, against states taken once for a whole preview.
  std::optional<std::string> blockReason(const std::string& path, const std::filesystem::path& home,
                                         const std::map<std::string, ActivityState>& states) const;
  std::map<std::string, ActivityState> states() const { return gates_.states(); }

 private:
  FamilyGates gates_;
};

// The application that owns a per-application cache folder (~/Library/Caches/<id>, ~/.cache/<name>)
// and whether it runs.
//
// Reads TIDYLOOM_USER_CACHE_ACTIVITY: a comma-separated list of owners to treat as running even
// when the process list cannot see them (an application in a sandbox or another session).
class UserCacheOwnership {
 public:
  struct Owner {
    std::string name;  // folder name: a bundle identifier or a program name
  };
  struct State {
    ActivityState activity = ActivityState::idle;
    std::vector<std::string> appNames;  // the running programs, when active
  };

  UserCacheOwnership(std::filesystem::path home, ProcessListing listing, std::vector<std::string> declaredActive = {});
  static UserCacheOwnership fromEnvironment(std::filesystem::path home, ProcessListing listing);

  std::optional<Owner> owner(const std::string& path) const;
  State state(const Owner& owner, const std::optional<ProcessList>& processes) const;
  std::optional<ProcessList> processes() const { return listing_(); }
  std::optional<std::string> blockReason(const std::string& path, const std::filesystem::path& home) const;

 private:
  std::filesystem::path home_;
  ProcessListing listing_;
  std::vector<std::string> declaredActive_;
};

}  // namespace tidyloom
