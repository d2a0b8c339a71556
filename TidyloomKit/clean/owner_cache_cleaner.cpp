// Inventory and run of the tool caches cleaned through their own commands.
#include "clean/owner_cache_cleaner.h"

#include <sys/stat.h>

#include "core/bounded_probe.h"
#include "l10n/l10n.h"
#include "removal/file_measure.h"
#include "removal/whitelist_policy.h"

namespace tidyloom {
namespace {

std::string firstLine(const std::string& text) {
  std::string line = text.substr(0, text.find('\n'));
  while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
  return line;
}

bool isRealDirectory(const std::string& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace

const std::vector<OwnerCacheCleaner::Tool>& OwnerCacheCleaner::defaultTools() {
  static const std::vector<Tool> tools{
      {"go clean -cache", "go", {"env", "GOCACHE"}, "", {"clean", "-cache"}},
      {"npm cache clean --force", "npm", {"config", "get", "cache"}, "/_cacache", {"cache", "clean", "--force"}},
      {"pip cache purge", "pip3", {"cache", "dir"}, "", {"cache", "purge"}},
      {"brew cleanup", "brew", {"--cache"}, "", {"cleanup"}},
  };
  return tools;
}

OwnerCacheCleaner::OwnerCacheCleaner(std::vector<Tool> tools, ExecutableLookup lookup,
                                     std::chrono::milliseconds probeTimeout, std::chrono::milliseconds runTimeout)
    : tools_(std::move(tools)), lookup_(std::move(lookup)), probeTimeout_(probeTimeout), runTimeout_(runTimeout) {}

OwnerCacheCleaner OwnerCacheCleaner::live() { return OwnerCacheCleaner(defaultTools(), findExecutable); }

const OwnerCacheCleaner::Tool* OwnerCacheCleaner::tool(const std::string& task) const {
  for (const auto& candidate : tools_) {
    if (candidate.task == task) return &candidate;
  }
  return nullptr;
}

std::optional<std::string> OwnerCacheCleaner::cachePath(const Tool& tool, const std::string& executable) const {
  const auto answer = BoundedProbe::run(executable, tool.locateArguments, probeTimeout_);
  if (!answer.launched || answer.status != 0) return std::nullopt;
  const std::string folder = firstLine(answer.output);
  // Only an absolute folder that really exists (never a link) can be a plan's cache.
  if (folder.empty() || folder.front() != '/') return std::nullopt;
  const std::string path = folder + tool.cacheSuffix;
  if (!isRealDirectory(path)) return std::nullopt;
  return path;
}

std::vector<OwnerCachePlan> OwnerCacheCleaner::inventory() const {
  std::vector<OwnerCachePlan> plans;
  if (!lookup_) return plans;
  for (const auto& tool : tools_) {
    const auto executable = lookup_(tool.executableName);
    if (!executable) continue;
    const auto path = cachePath(tool, *executable);
    if (!path) continue;
    const auto size = FileMeasure::byteSize(*path);
    if (size == 0) continue;
    plans.push_back(OwnerCachePlan{tool.task, {*path}, size});
  }
  return plans;
}

RunReport OwnerCacheCleaner::run(const std::vector<OwnerCachePlan>& plans,
                                 const std::vector<std::string>& whitelist) const {
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
    const auto result = BoundedProbe::run(*executable, known->cleanArguments, runTimeout_);
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
