// Inventory and run of the tool caches cleaned through their own commands.
#include "clean/owner_cache_cleaner.h"

#include <sys/stat.h>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "core/bounded_probe.h"
#include "l10n/l10n.h"
#include "platform/user_dirs.h"
#include "removal/file_measure.h"
#include "removal/whitelist_policy.h"

namespace tidyloom {
namespace fs = std::filesystem;
namespace {

std::string firstLine(const std::string& text) {
  std::string line = text.substr(0, text.find('\n'));
  while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
  return line;
}

bool isRealDirectory(const fs::path& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::string trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  const size_t last = text.find_last_not_of(" \t\r");
  std::string out(text.substr(first, last - first + 1));
  if (out.size() >= 2 && (out.front() == '"' || out.front() == '\'') && out.back() == out.front()) {
    out = out.substr(1, out.size() - 2);
  }
  return out;
}

// "${NAME}" replaced from the tools' environment, a leading "~/" by the home, as the tools do.
std::string expanded(std::string value, const ToolPlaces& places) {
  for (size_t at = value.find("${"); at != std::string::npos; at = value.find("${", at)) {
    const size_t end = value.find('}', at);
    if (end == std::string::npos) break;
    const std::string replacement = places.variable(value.substr(at + 2, end - at - 2)).value_or("");
    value.replace(at, end - at + 1, replacement);
    at += replacement.size();
  }
  if (value == "~" || value.starts_with("~/")) value = places.home.string() + value.substr(1);
  return value;
}

// `key` of an ini-style settings file (npmrc, pip.conf), in `section` when one is given.
std::optional<std::string> settingIn(const fs::path& file, const std::string& key, const std::string& section = {}) {
  std::ifstream in(file);
  std::string line;
  std::string current;
  while (std::getline(in, line)) {
    const std::string text = trimmed(line);
    if (text.empty() || text.front() == '#' || text.front() == ';') continue;
    if (text.front() == '[') {
      current = trimmed(std::string_view(text).substr(1, text.find(']') - 1));
      continue;
    }
    const size_t equals = text.find_first_of("=:");
    if (equals == std::string::npos || trimmed(std::string_view(text).substr(0, equals)) != key) continue;
    if (!section.empty() && current != section) continue;
    return trimmed(std::string_view(text).substr(equals + 1));
  }
  return std::nullopt;
}

std::optional<fs::path> absoluteFolder(const std::string& value) {
  if (value.empty() || value.front() != '/') return std::nullopt;
  return fs::path(value);
}

// GOCACHE: the variable, then the go command's own settings file, then its default.
std::optional<fs::path> goCache(const ToolPlaces& places) {
  std::optional<std::string> value = places.variable("GOCACHE");
  if (!value) {
    const auto envFile = places.variable("GOENV").value_or((places.configHome / "go" / "env").string());
    if (envFile != "off") value = settingIn(envFile, "GOCACHE");
  }
  if (value) return *value == "off" ? std::nullopt : absoluteFolder(*value);
  return places.cacheHome / "go-build";
}

// npm's cache: npm_config_cache, then "cache" in the user's and the global npmrc, then ~/.npm.
std::optional<fs::path> npmCache(const ToolPlaces& places) {
  std::optional<std::string> value = places.variable("npm_config_cache");
  if (!value) value = places.variable("NPM_CONFIG_CACHE");
  if (!value) {
    const std::string user = places.variable("npm_config_userconfig").value_or((places.home / ".npmrc").string());
    value = settingIn(expanded(user, places), "cache");
  }
  for (const char* global : {"/etc/npmrc", "/usr/etc/npmrc", "/usr/local/etc/npmrc"}) {
    if (!value) value = settingIn(global, "cache");
  }
  const fs::path folder = value ? fs::path(expanded(*value, places)) : places.home / ".npm";
  if (!folder.is_absolute()) return std::nullopt;
  return folder / "_cacache";
}

// pip's cache: PIP_CACHE_DIR, then "cache-dir" in its settings files, then its default.
std::optional<fs::path> pipCache(const ToolPlaces& places) {
  std::optional<std::string> value = places.variable("PIP_CACHE_DIR");
  const std::vector<fs::path> files{places.variable("PIP_CONFIG_FILE").value_or(""),
                                    places.configHome / "pip" / "pip.conf", places.home / ".pip" / "pip.conf",
                                    "/etc/pip.conf", "/etc/xdg/pip/pip.conf"};
  for (const auto& file : files) {
    if (!value && !file.empty()) value = settingIn(file, "cache-dir", "global");
  }
  if (value) return absoluteFolder(expanded(*value, places));
  return places.cacheHome / "pip";
}

std::optional<fs::path> brewCache(const ToolPlaces& places) {
  if (const auto value = places.variable("HOMEBREW_CACHE")) return absoluteFolder(*value);
  return places.cacheHome / "Homebrew";
}

}  // namespace

ToolPlaces ToolPlaces::forHome(const fs::path& home) {
  ToolPlaces places{home, platform::userCacheHome(home), platform::userConfigHome(home), {}};
  places.overrides = {
      "HOME=" + home.string(),
      "XDG_CACHE_HOME=" + places.cacheHome.string(),
      "XDG_CONFIG_HOME=" + places.configHome.string(),
      "XDG_DATA_HOME=" + platform::userDataHome(home).string(),
      "npm_config_logs_max=0",
      "npm_config_update_notifier=false",
      "PIP_DISABLE_PIP_VERSION_CHECK=1",
      "HOMEBREW_NO_AUTO_UPDATE=1",
      "HOMEBREW_NO_ANALYTICS=1",
      "HOMEBREW_NO_ENV_HINTS=1",
  };
  return places;
}

std::optional<std::string> ToolPlaces::variable(const std::string& name) const {
  const std::string prefix = name + "=";
  for (const auto& entry : overrides) {
    if (entry.starts_with(prefix)) return entry.substr(prefix.size());
  }
  const char* value = std::getenv(name.c_str());
  if (value == nullptr || *value == '\0') return std::nullopt;
  return std::string(value);
}

std::vector<std::string> ToolPlaces::environment() const {
  std::vector<std::string> out;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view text(*entry);
    const auto name = text.substr(0, text.find('=') + 1);
    const bool replaced =
        std::any_of(overrides.begin(), overrides.end(), [&](const std::string& o) { return o.starts_with(name); });
    if (!replaced) out.emplace_back(text);
  }
  out.insert(out.end(), overrides.begin(), overrides.end());
  return out;
}

const std::vector<OwnerCacheCleaner::Tool>& OwnerCacheCleaner::defaultTools() {
  static const std::vector<Tool> tools{
      {"go clean -cache", "go", goCache, {"clean", "-cache"}},
      {"npm cache clean --force", "npm", npmCache, {"cache", "clean", "--force"}},
      {"pip cache purge", "pip3", pipCache, {"cache", "purge"}},
      {"brew cleanup", "brew", brewCache, {"cleanup"}},
  };
  return tools;
}

OwnerCacheCleaner::OwnerCacheCleaner(std::vector<Tool> tools, ExecutableLookup lookup, ToolPlaces places,
                                     std::chrono::milliseconds runTimeout)
    : tools_(std::move(tools)), lookup_(std::move(lookup)), places_(std::move(places)), runTimeout_(runTimeout) {}

OwnerCacheCleaner OwnerCacheCleaner::live(const fs::path& home) {
  return OwnerCacheCleaner(defaultTools(), findExecutable, ToolPlaces::forHome(home));
}

const OwnerCacheCleaner::Tool* OwnerCacheCleaner::tool(const std::string& task) const {
  for (const auto& candidate : tools_) {
    if (candidate.task == task) return &candidate;
  }
  return nullptr;
}

std::vector<OwnerCachePlan> OwnerCacheCleaner::inventory() const {
  std::vector<OwnerCachePlan> plans;
  if (!lookup_) return plans;
  for (const auto& tool : tools_) {
    if (!lookup_(tool.executableName)) continue;
    // Only a folder that really exists (never a link) can be a plan's cache.
    const auto path = tool.locate ? tool.locate(places_) : std::nullopt;
    if (!path || !isRealDirectory(*path)) continue;
    const auto size = FileMeasure::byteSize(*path);
    if (size == 0) continue;
    plans.push_back(OwnerCachePlan{tool.task, {path->lexically_normal().string()}, size});
  }
  return plans;
}

RunReport OwnerCacheCleaner::run(const std::vector<OwnerCachePlan>& plans,
                                 const std::vector<std::string>& patterns) const {
  const CompiledWhitelist whitelist(patterns);
  RunReport report;
  for (const auto& plan : plans) {
    const Tool* known = tool(plan.task);
    const auto executable = (known && lookup_) ? lookup_(known->executableName) : std::nullopt;
    if (!known || !executable) {
      report.taskOutcomes[plan.task] = TaskOutcome::unavailable;
      continue;
    }
    bool protectedCache = false;
    for (const auto& path : plan.paths)
      protectedCache = protectedCache || WhitelistPolicy::protects(path, whitelist, true);
    if (protectedCache) {
      report.taskOutcomes[plan.task] = TaskOutcome::skipped;
      report.notes.push_back(L10n::translate("%@：缓存在白名单中，已跳过", {plan.task}));
      continue;
    }
    std::uint64_t before = 0;
    for (const auto& path : plan.paths) before += FileMeasure::byteSize(path);
    const auto result = BoundedProbe::run(*executable, known->cleanArguments, runTimeout_, places_.environment());
    if (!result.launched) {
      report.taskOutcomes[plan.task] = TaskOutcome::unavailable;
      continue;
    }
    if (result.timedOut || result.status != 0) {
      report.taskOutcomes[plan.task] = TaskOutcome::failed;
      const std::string detail = firstLine(result.errorOutput.empty() ? result.output : result.errorOutput);
      report.notes.push_back(
          L10n::translate("%@ 失败（状态 %@）：%@", {plan.task, std::to_string(result.status), detail}));
      continue;
    }
    std::uint64_t after = 0;
    for (const auto& path : plan.paths) after += FileMeasure::byteSize(path);
    report.freedBytes += before > after ? before - after : 0;
    report.taskOutcomes[plan.task] = before > after ? TaskOutcome::applied : TaskOutcome::unchanged;
  }
  return report;
}

}  // namespace tidyloom
