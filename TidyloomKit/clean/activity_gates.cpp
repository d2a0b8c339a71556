// Family gates, the developer and application guards, and per-application cache ownership.
#include "clean/activity_gates.h"

#include <algorithm>
#include <cstdlib>

#include "clean/surface_classification.h"
#include "l10n/l10n.h"
#include "removal/protection_layer.h"

namespace tidyloom {
namespace {

std::string_view baseName(std::string_view path) {
  const auto slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

// A gate holds a path inside its folder, and a path that has the gate's folder inside it (removing
// ~/Library/Caches/Google takes Chrome's cache along).
bool gateHolds(const std::string& path, const std::filesystem::path& home, const std::string& gatePath) {
  const std::string folder = (home / (gatePath.ends_with('/') ? gatePath.substr(0, gatePath.size() - 1) : gatePath))
                                 .lexically_normal()
                                 .string();
  if (isUnder(folder, path)) return true;
  if (gatePath.ends_with('/')) return isUnder(path, folder);
  return std::string_view(path).starts_with(folder);
}

std::optional<std::string> reasonFor(const ProcessSignature& signature, ActivityState state) {
  switch (state) {
    case ActivityState::idle:
      return std::nullopt;
    case ActivityState::active:
      return L10n::translate("%@ 正在运行，退出后再清理", {L10n::translate(signature.displayName)});
    case ActivityState::unknown:
      return L10n::translate("无法确认 %@ 是否正在运行，已保留", {L10n::translate(signature.displayName)});
  }
  return std::nullopt;
}

}  // namespace

ProcessListing liveProcessListing() {
  return [] { return platform::runningProcesses(); };
}

ProcessListing idleProcessListing() {
  return [] { return std::optional<ProcessList>(ProcessList{}); };
}

bool processMatches(const platform::RunningProcess& process, const std::vector<std::string_view>& names) {
  const auto named = [&](std::string_view candidate) {
    return !candidate.empty() && std::find(names.begin(), names.end(), candidate) != names.end();
  };
  if (named(process.name) || named(baseName(process.executable)) || named(process.bundleIdentifier)) return true;
  return std::any_of(process.arguments.begin(), process.arguments.end(),
                     [&](const std::string& argument) { return named(baseName(argument)); });
}

FamilyGates::FamilyGates(const std::vector<ProcessSignature>& table, std::vector<Gate> gates, ProcessListing listing)
    : table_(&table), gates_(std::move(gates)), listing_(std::move(listing)) {}

std::optional<std::string> FamilyGates::family(const std::string& path, const std::filesystem::path& home) const {
  for (const auto& [family, paths] : gates_) {
    for (const auto& gatePath : paths) {
      if (gateHolds(path, home, gatePath)) return family;
    }
  }
  return std::nullopt;
}

const ProcessSignature* FamilyGates::signature(std::string_view raw) const {
  for (const auto& signature : *table_) {
    if (signature.raw == raw) return &signature;
  }
  return nullptr;
}

std::map<std::string, ActivityState> FamilyGates::states() const {
  std::map<std::string, ActivityState> states;
  const auto processes = listing_();
  for (const auto& [family, paths] : gates_) {
    const ProcessSignature* known = signature(family);
    if (!processes || known == nullptr) {
      states[family] = ActivityState::unknown;
      continue;
    }
    const bool running = std::any_of(processes->begin(), processes->end(), [&](const auto& process) {
      return processMatches(process, known->processNames) || processMatches(process, known->bundleIdentifiers);
    });
    states[family] = running ? ActivityState::active : ActivityState::idle;
  }
  return states;
}

std::optional<std::string> ProductProcessActivity::blockReason(const std::string& path,
                                                               const std::filesystem::path& home) const {
  const auto owner = gates_.family(path, home);
  if (!owner) return std::nullopt;
  const auto states = gates_.states();
  const auto* signature = gates_.signature(*owner);
  if (signature == nullptr) return std::nullopt;
  return reasonFor(*signature, states.at(*owner));
}

std::optional<std::string> DeveloperCacheActivity::blockReason(const std::string& path,
                                                               const std::filesystem::path& home) const {
  return blockReason(path, home, gates_.states());
}

std::optional<std::string> DeveloperCacheActivity::blockReason(
    const std::string& path, const std::filesystem::path& home,
    const std::map<std::string, ActivityState>& states) const {
  const auto owner = gates_.family(path, home);
  if (!owner) return std::nullopt;
  const auto* signature = gates_.signature(*owner);
  const auto state = states.find(*owner);
  if (signature == nullptr || state == states.end()) return std::nullopt;
  return reasonFor(*signature, state->second);
}

UserCacheOwnership::UserCacheOwnership(std::filesystem::path home, ProcessListing listing,
                                       std::vector<std::string> declaredActive)
    : home_(std::move(home)), listing_(std::move(listing)), declaredActive_(std::move(declaredActive)) {}

UserCacheOwnership UserCacheOwnership::fromEnvironment(std::filesystem::path home, ProcessListing listing) {
  std::vector<std::string> declared;
  if (const char* value = std::getenv("TIDYLOOM_USER_CACHE_ACTIVITY")) {
    std::string_view rest(value);
    while (!rest.empty()) {
      const auto comma = rest.find(',');
      const auto item = rest.substr(0, comma);
      if (!item.empty()) declared.emplace_back(item);
      if (comma == std::string_view::npos) break;
      rest.remove_prefix(comma + 1);
    }
  }
  return UserCacheOwnership(std::move(home), std::move(listing), std::move(declared));
}

std::optional<UserCacheOwnership::Owner> UserCacheOwnership::owner(const std::string& path) const {
  for (const char* folder : {"Library/Caches", ".cache"}) {
    const std::string root = (home_ / folder).lexically_normal().string();
    if (!isUnder(path, root) || path.size() <= root.size() + 1) continue;
    const std::string_view rest = std::string_view(path).substr(root.size() + 1);
    const std::string name(rest.substr(0, rest.find('/')));
    if (name.empty() || name.starts_with('.')) return std::nullopt;
    return Owner{name};
  }
  return std::nullopt;
}

UserCacheOwnership::State UserCacheOwnership::state(const Owner& owner,
                                                    const std::optional<ProcessList>& processes) const {
  const std::string wanted = asciiLowercased(owner.name);
  if (std::find_if(declaredActive_.begin(), declaredActive_.end(),
                   [&](const std::string& name) { return asciiLowercased(name) == wanted; }) != declaredActive_.end()) {
    return {ActivityState::active, {owner.name}};
  }
  if (!processes) return {ActivityState::unknown, {}};
  // A reverse-DNS owner (com.vendor.App) also matches a program called "App".
  std::string shortName;
  if (std::count(wanted.begin(), wanted.end(), '.') >= 2) shortName = wanted.substr(wanted.rfind('.') + 1);
  State result;
  for (const auto& process : *processes) {
    const bool matches = asciiLowercased(process.bundleIdentifier) == wanted ||
                         asciiLowercased(process.name) == wanted ||
                         asciiLowercased(baseName(process.executable)) == wanted ||
                         (shortName.size() >= 4 && asciiLowercased(process.name) == shortName);
    if (matches && std::find(result.appNames.begin(), result.appNames.end(), process.name) == result.appNames.end()) {
      result.appNames.push_back(process.name);
    }
  }
  result.activity = result.appNames.empty() ? ActivityState::idle : ActivityState::active;
  return result;
}

std::optional<std::string> UserCacheOwnership::blockReason(const std::string& path,
                                                           const std::filesystem::path& /*home*/) const {
  const auto found = owner(path);
  if (!found) return std::nullopt;
  const auto current = state(*found, listing_());
  switch (current.activity) {
    case ActivityState::idle:
      return std::nullopt;
    case ActivityState::active:
      return L10n::translate("%@ 正在运行，退出后再清理", {current.appNames.front()});
    case ActivityState::unknown:
      return L10n::translate("无法确认 %@ 是否正在运行，已保留", {found->name});
  }
  return std::nullopt;
}

}  // namespace tidyloom
