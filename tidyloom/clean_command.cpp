// tidyloom clean: preview what can be cleaned, show it grouped by section, ask, then remove what
// was kept after checking each path again. --plan runs a saved (possibly edited) preview.
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>

#include <nlohmann/json.hpp>

#include <unistd.h>

#include "clean/clean_catalog.h"
#include "clean/clean_engine.h"
#include "clean/clean_records.h"
#include "commands.h"
#include "core/engine_error.h"
#include "core/json_coding.h"
#include "helper/privileged_helper.h"
#include "helper/privileged_helper_client.h"
#include "interrupt.h"
#include "l10n/l10n.h"
#include "output.h"
#include "platform/helper_host.h"
#include "removal/admin_path_remover.h"
#include "removal/privileged_runner.h"
#include "removal/trash_route.h"
#include "removal_options.h"
#include "rule_config.h"
#include "run_recording.h"

namespace tidyloom::cli {
namespace {

struct CleanOptions {
  std::vector<std::string> surfaces;
  bool smart = false;
  bool noReview = false;
  std::string rulesFile;
  bool dryRun = false;
  bool yes = false;
  bool trash = false;
  std::string planFile;
};

// What a run is asked to do: the kept candidate paths (and ticked review rows) and tool caches.
struct Selection {
  std::vector<std::string> paths;
  std::vector<OwnerCachePlan> ownerCaches;
  std::uint64_t bytes = 0;
};

std::string sectionTitle(const std::string& section) {
  static const std::map<std::string, const char*> kTitles{
      {"userCaches", "用户缓存"},
      {"userLogs", "用户日志"},
      {"devCaches", "开发者缓存"},
      {"appCaches", "应用缓存"},
      {"brewCaches", "Homebrew 缓存"},
      {"crashReporter", "崩溃报告"},
      {"trash", "废纸篓"},
      {"systemCaches", "系统缓存与日志"},
      {"mailDownloads", "邮件下载"},
      {"deviceFirmware", "设备固件"},
      {"largeFiles", "大型文件"},
  };
  const auto known = kTitles.find(section);
  return known == kTitles.end() ? printablePath(section) : L10n::translate(known->second);
}

SurfaceSet requestedSurfaces(const CleanOptions& options) {
  SurfaceSet surfaces;
  for (const auto& raw : options.surfaces) {
    const auto surface = surfaceFromRaw(raw);
    if (!surface)
      throw UsageError{L10n::translate(
          "未知的扫描范围：%@（可用：developer、dependencies、simulators、projectCaches、logs、general）", {raw})};
    surfaces.insert(*surface);
  }
  if (surfaces.empty()) surfaces = allSurfaces();
  if (options.smart) {
    SurfaceSet narrowed;
    for (const auto surface : SmartCleanCatalog::surfaces()) {
      if (surfaces.contains(surface)) narrowed.insert(surface);
    }
    surfaces = narrowed;
  }
  return surfaces;
}

// System paths go through the root daemon when it is installed and enabled; otherwise, for a
// user who is not root, through one administrator shell that asks for rights when first needed.
void addPrivilegedRoutes(CleanEngine::Setup& setup, const std::vector<std::string>& removalCommand) {
  const auto facts = platform::helperHostFacts(PrivilegedHelper::clientIdentifier, PrivilegedHelper::label);
  if (facts.bundleIdentifier == PrivilegedHelper::clientIdentifier) {
    if (auto client = PrivilegedHelperClient::liveIfEnabled(facts)) {
      setup.systemHelper = std::shared_ptr<SystemCleanHelping>(std::move(client));
      return;
    }
  }
  if (::geteuid() == 0) return;
  auto runner = std::make_shared<PrivilegedRunner>(PrivilegedRunner::live());
  runner->stop = interruptToken();
  const ScanRoots roots = setup.roots;
  setup.adminRemover = [runner, roots, removalCommand](const std::vector<std::string>& paths,
                                                       const Remover::BeforeRemoval& recheck) {
    return AdminPathRemover(*runner, removalCommand).remove(paths, roots, RemovalScope::userData, recheck);
  };
}

CleanEngine makeEngine(Context& context, const CleanOptions& options, ScanRuleConfig config) {
  const Locations& locations = context.locations();
  CleanEngine::Setup setup;
  setup.roots = locations.roots;
  setup.whitelistFile = locations.applicationSupport / "whitelist.json";
  setup.config = std::move(config);
  setup.fixture = locations.isFixture();
  if (locations.fixtureTrash) setup.trash = folderTrash(*locations.fixtureTrash);
  setup.mode = options.trash ? RemovalMode::trash : RemovalMode::permanent;
  if (!setup.fixture) addPrivilegedRoutes(setup, adminRemovalCommand(context, true));
  return CleanEngine(std::move(setup));
}

nlohmann::json previewJson(const PreviewReport& report) {
  nlohmann::json document = report;
  // Review rows are never selected by the preview; a plan file ticks one by setting this to true.
  for (auto& item : document["reviewItems"]) item["selected"] = false;
  return document;
}

void printPreview(const PreviewReport& report) {
  std::map<std::string, std::vector<const CleanupCandidate*>> groups;
  for (const auto& candidate : report.candidates) groups[candidate.section].push_back(&candidate);
  for (const auto& [section, members] : groups) {
    std::uint64_t bytes = 0;
    for (const auto* candidate : members) bytes += candidate->byteSize;
    std::cout << paint(sectionTitle(section), Colour::bold) << "  "
              << L10n::translate("%@ 项，%@", {std::to_string(members.size()), formatBytes(bytes)}) << '\n';
    Table table({L10n::translate("路径"), L10n::translate("大小")}, {Table::Align::left, Table::Align::right});
    for (const auto* candidate : members) table.add({printablePath(candidate->path), formatBytes(candidate->byteSize)});
    std::cout << table.render() << '\n';
  }
  if (!report.ownerCaches.empty()) {
    std::cout << paint(L10n::translate("由工具自身命令清理"), Colour::bold) << '\n';
    Table table({L10n::translate("命令"), L10n::translate("缓存"), L10n::translate("大小")},
                {Table::Align::left, Table::Align::left, Table::Align::right});
    for (const auto& plan : report.ownerCaches) {
      table.add({plan.task, plan.paths.empty() ? std::string() : printablePath(plan.paths.front()),
                 formatBytes(plan.byteSize)});
    }
    std::cout << table.render() << '\n';
  }
  if (!report.appHeld.empty()) {
    std::cout << paint(L10n::translate("正在使用，应用退出后才能清理"), Colour::yellow) << '\n';
    Table table({L10n::translate("路径"), L10n::translate("大小"), L10n::translate("应用")},
                {Table::Align::left, Table::Align::right, Table::Align::left});
    for (const auto& held : report.appHeld) {
      std::string apps;
      for (const auto& name : held.appNames) apps += (apps.empty() ? "" : ", ") + printablePath(name);
      table.add({printablePath(held.candidate.path), formatBytes(held.candidate.byteSize), apps});
    }
    std::cout << table.render() << '\n';
  }
  if (!report.reviewItems.empty()) {
    std::cout << paint(L10n::translate("复核项目（不会删除，除非在清理计划中选中）"), Colour::bold) << '\n';
    for (const auto& item : report.reviewItems) {
      std::cout << "  [ ] " << printablePath(item.title) << "  " << formatBytes(item.byteSize) << '\n'
                << "      " << printablePath(item.path) << '\n'
                << "      " << paint(item.detail, Colour::dim) << '\n';
    }
    std::cout << '\n';
  }
  std::uint64_t total = candidateBytes(report);
  for (const auto& plan : report.ownerCaches) total += plan.byteSize;
  std::cout << L10n::translate(
                   "可清理：%@ 项，共 %@",
                   {std::to_string(report.candidates.size() + report.ownerCaches.size()), formatBytes(total)})
            << '\n';
  if (report.interrupted) std::cout << paint(L10n::translate("扫描被中断，以上结果不完整"), Colour::yellow) << '\n';
}

void printRunReport(const RunReport& report) {
  std::cout << L10n::translate("已删除 %@ 项，释放 %@",
                               {std::to_string(report.removed.size()), formatBytes(report.freedBytes)})
            << '\n';
  for (const auto& [task, outcome] : report.taskOutcomes) {
    std::cout << "  " << task << ": " << rawValue(outcome) << '\n';
  }
  for (const auto& note : report.notes) std::cout << "  " << printablePath(note) << '\n';
  if (!report.failed.empty()) {
    std::cout << paint(L10n::translate("%@ 项未删除：", {std::to_string(report.failed.size())}), Colour::red) << '\n';
    for (const auto& failure : report.failed) {
      std::cout << "  " << printablePath(failure.path) << "\n    " << printablePath(failure.reason) << '\n';
    }
  }
}

// The selection of a saved plan: its candidates, its ticked review rows, its tool caches. Held
// candidates never run.
Selection planSelection(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw EngineError::io(L10n::translate("无法读取清理计划：%@", {file}));
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  Selection selection;
  try {
    const auto document = nlohmann::json::parse(text);
    const PreviewReport report = document.get<PreviewReport>();
    for (const auto& candidate : report.candidates) selection.paths.push_back(candidate.path);
    for (const auto& item : document.value("reviewItems", nlohmann::json::array())) {
      if (item.value("selected", false) && item.value("explicitSelectionAllowed", false)) {
        selection.paths.push_back(item.at("path").get<std::string>());
      }
    }
    selection.ownerCaches = report.ownerCaches;
    for (const auto& candidate : report.candidates) selection.bytes += candidate.byteSize;
  } catch (const nlohmann::json::exception& e) {
    throw EngineError::io(L10n::translate("清理计划不是有效的预览报告：%@", {e.what()}));
  }
  return selection;
}

Selection previewSelection(const PreviewReport& report) {
  Selection selection;
  for (const auto& candidate : report.candidates) selection.paths.push_back(candidate.path);
  selection.ownerCaches = report.ownerCaches;
  selection.bytes = candidateBytes(report);
  for (const auto& plan : report.ownerCaches) selection.bytes += plan.byteSize;
  return selection;
}

int runSelection(Context& context, const CleanEngine& engine, const CleanOptions& options, const Selection& selection,
                 std::uint64_t scannedFiles) {
  if (selection.paths.empty() && selection.ownerCaches.empty()) {
    if (context.json())
      context.printJson(RunReport{});
    else
      std::cout << L10n::translate("没有可清理的内容") << '\n';
    return kExitOk;
  }
  if (!options.yes) {
    const auto count = std::to_string(selection.paths.size() + selection.ownerCaches.size());
    const std::string question =
        options.trash ? L10n::translate("将 %@ 项（%@）移到废纸篓？", {count, formatBytes(selection.bytes)})
                      : L10n::translate("永久删除 %@ 项（%@）？", {count, formatBytes(selection.bytes)});
    if (!context.confirm(question)) {
      context.note(L10n::translate("已取消，未删除任何内容"));
      if (context.json()) context.printJson(RunReport{});
      return kExitOk;
    }
  }
  auto& progress = context.progress();
  size_t done = 0;
  const auto total = selection.paths.size();
  RunReport report;
  try {
    report = engine.run(
        selection.paths, selection.ownerCaches,
        [&](const RemovalEvent& event) {
          if (const auto* finished = std::get_if<RemovalFinished>(&event)) {
            ++done;
            progress.update(L10n::translate("正在清理"), done, static_cast<double>(done) / static_cast<double>(total),
                            finished->path);
          }
        },
        context.stopToken());
  } catch (const EngineError& error) {
    // The whole run was refused before anything was removed (a tool cache changed since the
    // preview): every kept item is reported with the reason, as one document.
    progress.clear();
    if (!context.json()) throw;
    for (const auto& path : selection.paths) report.failed.push_back({path, error.message()});
    for (const auto& plan : selection.ownerCaches) report.failed.push_back({plan.task, error.message()});
    context.printJson(report);
    return kExitFailure;
  }
  progress.clear();
  recordRun(context, "clean", engine.mode, report, scannedFiles);
  if (context.json()) {
    context.printJson(report);
  } else {
    printRunReport(report);
  }
  return runExitStatus(context, report);
}

int handle(Context& context, const CleanOptions& options) {
  if (options.dryRun && options.yes) throw UsageError{L10n::translate("--dry-run 与 --yes 不能同时使用")};
  if (!options.planFile.empty() && options.dryRun)
    throw UsageError{L10n::translate("--plan 与 --dry-run 不能同时使用")};
  const SurfaceSet surfaces = requestedSurfaces(options);
  ScanRuleConfig config = loadRuleConfig(context, options.rulesFile);
  const auto gameMarkers = SmartCleanCatalog::gameMarkers(config.gamePathMarkers);
  const CleanEngine engine = makeEngine(context, options, std::move(config));

  if (!options.planFile.empty()) return runSelection(context, engine, options, planSelection(options.planFile), 0);

  auto& progress = context.progress();
  const auto tally = std::make_shared<ScanTally>();
  PreviewReport report = engine.preview(
      engine.defaultRules(), surfaces, !options.noReview,
      [&](const ScanProgress& step) {
        progress.update(step.path, step.found ? std::optional<std::uint64_t>(*step.found) : std::nullopt,
                        step.fraction);
      },
      context.stopToken(), tally);
  progress.clear();
  if (options.smart) report = SmartCleanCatalog::filter(report, gameMarkers);

  if (report.interrupted || options.dryRun) {
    if (context.json())
      context.printJson(previewJson(report));
    else
      printPreview(report);
    return report.interrupted ? kExitInterrupted : kExitOk;
  }
  if (!context.json()) printPreview(report);
  return runSelection(context, engine, options, previewSelection(report), tally->files());
}

}  // namespace

Handler setupClean(CLI::App& command, Context& /*context*/) {
  auto options = std::make_shared<CleanOptions>();
  command
      .add_option("--surface", options->surfaces,
                  "Scan only these surfaces: developer, dependencies, simulators, projectCaches, logs, general")
      ->type_name("X");
  command.add_flag("--smart", options->smart, "Only the low-risk caches and logs of the one-click clean");
  command.add_flag("--no-review", options->noReview, "Skip the review of large backups and developer data");
  command.add_option("--rules", options->rulesFile, "Use this rule file instead of the shipped one")->type_name("FILE");
  command.add_flag("--dry-run", options->dryRun, "Preview only; remove nothing");
  command.add_flag("--yes", options->yes, "Remove every candidate without asking");
  command.add_flag("--trash", options->trash, "Move to the Trash instead of deleting permanently");
  command
      .add_option("--plan", options->planFile, "Run a saved preview (from --dry-run --json), checking every path again")
      ->type_name("FILE");
  return [options](Context& context) { return handle(context, *options); };
}

}  // namespace tidyloom::cli
