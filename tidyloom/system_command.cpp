// tidyloom system scan | remove: old system caches and logs that are safe to delete, listed by area
// (optionally through the root daemon), and the removal of reviewed paths with administrator rights.
#include <iostream>
#include <map>

#include "commands.h"
#include "core/json_coding.h"
#include "helper/helper_service.h"
#include "helper/system_clean_scanner.h"
#include "l10n/l10n.h"
#include "output.h"
#include "run_recording.h"
#include "system_route.h"

namespace tidyloom::cli {
namespace {

struct SystemOptions {
  bool rebuildable = false;
  bool userDomain = false;
  bool viaHelper = false;
  bool yes = false;
  std::vector<std::string> paths;
};

constexpr size_t kUnreadableShown = 10;

std::string areaTitle(const std::string& area) {
  static const std::map<std::string, const char*> kTitles{
      {"systemCacheFiles", "系统缓存文件"},     {"privateVarLogs", "系统日志文件"},
      {"namedCaches", "可重建的系统缓存"},      {"systemLogs", "诊断报告与应用日志"},
      {"privateDatabase", "系统诊断数据"},      {"gpuCaches", "GPU 着色器缓存"},
      {"timeMachine", "Time Machine 本地数据"},
  };
  const auto it = kTitles.find(area);
  return it == kTitles.end() ? L10n::translate("系统位置") : L10n::translate(it->second);
}

void printUnreadable(const Context& context, const std::vector<std::string>& folders) {
  if (folders.empty()) return;
  context.warn(L10n::translate("无法读取 %@ 个文件夹，其中的文件未列出；以管理员身份运行可看到全部",
                               {std::to_string(folders.size())}));
  for (size_t i = 0; i < folders.size() && i < kUnreadableShown; ++i) context.note("  " + printablePath(folders[i]));
  if (folders.size() > kUnreadableShown) {
    context.note("  " + L10n::translate("……以及另外 %@ 个", {std::to_string(folders.size() - kUnreadableShown)}));
  }
}

// Human listing: one block per area in scan order, then the total. Candidates from the daemon
// carry no area and form one block.
void printSystemScan(const SystemScanReport& report) {
  if (report.candidates.empty()) {
    std::cout << L10n::translate("没有找到可清理的系统文件") << "\n";
    return;
  }
  std::vector<std::string> order;
  std::map<std::string, std::vector<const CleanupCandidate*>> groups;
  for (size_t i = 0; i < report.candidates.size(); ++i) {
    const std::string area = i < report.candidateAreas.size() ? report.candidateAreas[i] : std::string();
    if (!groups.contains(area)) order.push_back(area);
    groups[area].push_back(&report.candidates[i]);
  }
  std::uint64_t total = 0;
  for (const std::string& area : order) {
    std::uint64_t bytes = 0;
    for (const CleanupCandidate* candidate : groups[area]) bytes += candidate->byteSize;
    total += bytes;
    std::cout << paint(areaTitle(area), Colour::bold) << "  "
              << L10n::translate("%@ 项，%@", {std::to_string(groups[area].size()), formatBytes(bytes)}) << "\n";
    Table table({L10n::translate("大小"), L10n::translate("路径")}, {Table::Align::right, Table::Align::left});
    for (const CleanupCandidate* candidate : groups[area]) {
      table.add({formatBytes(candidate->byteSize), printablePath(candidate->path)});
    }
    std::cout << table.render() << "\n";
  }
  std::cout << L10n::translate("共 %@ 项，可释放 %@", {std::to_string(report.candidates.size()), formatBytes(total)})
            << "\n";
}

SystemScanReport scanHere(Context& context, const SystemOptions& options) {
  // A fixture tree is shaped like macOS, whatever the host.
  const SystemScanNames names = context.fixtureMode() ? SystemScanNames::macOS() : SystemScanNames::forHost();
  const SystemCleanScanner scanner(context.locations().roots, PrivilegedHelperService::kMaxAgeDays, names);
  ProgressLine& progress = context.progress();
  const std::string label = L10n::translate("正在扫描系统位置");
  SystemScanReport report = scanner.scan(SystemScanRequest{
      .includesRebuildableCaches = options.rebuildable,
      .userDomain = options.userDomain,
      .progress =
          [&](const ScanProgress& p) {
            progress.update(label, p.found ? std::optional<std::uint64_t>(*p.found) : std::nullopt, std::nullopt,
                            p.path);
          },
      .stop = context.stopToken(),
      .tally = std::make_shared<ScanTally>(),
  });
  progress.clear();
  return report;
}

int scan(Context& context, const SystemOptions& options) {
  SystemScanReport report;
  if (options.viaHelper) {
    report.candidates = requireHelperClient(context)->scanSystem(options.rebuildable);
  } else {
    report = scanHere(context, options);
  }
  if (report.interrupted) context.warn(L10n::translate("扫描已中断，以下只是已找到的部分"));
  if (context.json()) {
    context.printJson(nlohmann::json(report.candidates));
  } else {
    printSystemScan(report);
  }
  printUnreadable(context, report.unreadableFolders);
  return report.interrupted ? kExitInterrupted : kExitOk;
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
  return runExitStatus(context, report);
}

}  // namespace

Handler setupSystem(CLI::App& command, Context& /*context*/) {
  auto options = std::make_shared<SystemOptions>();
  auto* scanCommand = command.add_subcommand("scan", "List old system caches and logs that are safe to delete");
  scanCommand->add_flag("--rebuildable", options->rebuildable,
                        "Also list caches the system rebuilds by itself (named caches, GPU shader caches)");
  scanCommand->add_flag("--user-domain", options->userDomain,
                        "Also list your own GPU shader caches and Time Machine data (removed by tidyloom clean)");
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
