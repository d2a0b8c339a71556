// tidyloom system: the system-wide scan (optionally through the root daemon) and removal of its paths.
#include <iostream>

#include "commands.h"
#include "core/json_coding.h"
#include "helper/helper_service.h"
#include "l10n/l10n.h"
#include "output.h"
#include "run_recording.h"
#include "system_route.h"

namespace tidyloom::cli {
namespace {

struct SystemOptions {
  bool rebuildable = false;
  bool viaHelper = false;
  bool yes = false;
  std::vector<std::string> paths;
};

void printCandidates(const Context& context, const std::vector<CleanupCandidate>& candidates) {
  if (context.json()) {
    context.printJson(nlohmann::json(candidates));
    return;
  }
  Table table({L10n::translate("大小"), L10n::translate("分组"), L10n::translate("路径")},
              {Table::Align::right, Table::Align::left, Table::Align::left});
  std::uint64_t total = 0;
  for (const auto& candidate : candidates) {
    total += candidate.byteSize;
    table.add({formatBytes(candidate.byteSize), candidate.section, printablePath(candidate.path)});
  }
  if (!table.empty()) std::cout << table.render();
  std::cout << L10n::translate("共 %@ 项，%@", {std::to_string(candidates.size()), formatBytes(total)}) << '\n';
}

int scan(Context& context, const SystemOptions& options) {
  std::vector<CleanupCandidate> candidates;
  if (options.viaHelper) {
    candidates = requireHelperClient(context)->scanSystem(options.rebuildable);
  } else {
    candidates = systemCleanScanSource(context.locations().roots, PrivilegedHelperService::kMaxAgeDays)
                     ->scanPrivileged(options.rebuildable);
  }
  printCandidates(context, candidates);
  return kExitOk;
}

int remove(Context& context, const SystemOptions& options) {
  std::vector<std::string> paths;
  for (const auto& path : options.paths) paths.push_back(std::filesystem::absolute(path).lexically_normal().string());
  if (!options.yes) {
    for (const auto& path : paths) std::cerr << "  " << printablePath(path) << '\n';
    if (!context.confirm(L10n::translate("以管理员权限永久删除这 %@ 项？", {std::to_string(paths.size())}))) {
      context.note(L10n::translate("已取消，未删除任何内容"));
      return kExitFailure;
    }
  }
  const RunReport report = removeSystemPaths(context, paths, options.viaHelper);
  recordRun(context, "system", RemovalMode::permanent, report, 0);
  printRunReport(context, report);
  return report.failed.empty() ? kExitOk : kExitFailure;
}

}  // namespace

Handler setupSystem(CLI::App& command, Context& /*context*/) {
  auto options = std::make_shared<SystemOptions>();
  auto* scanCommand = command.add_subcommand("scan", "List old system caches and logs that only root may remove");
  scanCommand->add_flag("--rebuildable", options->rebuildable, "Also list named caches the system rebuilds");
  scanCommand->add_flag("--via-helper", options->viaHelper, "Scan through the root helper daemon");
  auto* removeCommand = command.add_subcommand("remove", "Permanently remove system paths with administrator rights");
  removeCommand->add_option("PATH", options->paths, "System paths offered by system scan")->required();
  removeCommand->add_flag("--via-helper", options->viaHelper, "Remove through the root helper daemon");
  removeCommand->add_flag("--yes", options->yes, "Do not ask before removing");
  command.require_subcommand(1);
  return [options, scanCommand, removeCommand](Context& context) {
    if (scanCommand->parsed()) return scan(context, *options);
    if (removeCommand->parsed()) return remove(context, *options);
    return kExitUsage;
  };
}

}  // namespace tidyloom::cli
