// tidyloom clean: preview what can be cleaned, show it grouped by section, ask, then remove what
// was kept after checking each path again. --plan runs a saved (possibly edited) preview.
#include <algorithm>
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
  bool emptyTrash = false;
  std::string planFile;
};

// The Trash is not a surface of the engine: "--surface trash" asks for its rows, ticked.
constexpr std::string_view kTrashSurface = "trash";

bool asksForTrash(const CleanOptions& options) {
  return options.emptyTrash ||
         std::find(options.surfaces.begin(), options.surfaces.end(), kTrashSurface) != options.surfaces.end();
}

// Only the Trash was asked for: nothing else is scanned.
bool onlyTrash(const CleanOptions& options) {
  return !options.surfaces.empty() && std::all_of(options.surfaces.begin(), options.surfaces.end(),
                                                  [](const std::string& raw) { return raw == kTrashSurface; });
}

bool isTrashRow(const ReviewItem& item) { return item.section == "trash" && item.explicitSelectionAllowed; }

// What a run is asked to do: the kept candidate paths (and ticked review rows) and tool caches.
struct Selection {
  std::vector<std::string> paths;
  std::vector<OwnerCachePlan> ownerCaches;
  std::uint64_t bytes = 0;
  // Of `paths`, the ticked Trash rows: deleted for good whatever the mode.
  std::size_t trashItems = 0;
  std::uint64_t trashBytes = 0;
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
    if (raw == kTrashSurface) continue;
    const auto surface = surfaceFromRaw(raw);
    if (!surface)
      throw UsageError{L10n::translate(
          "未知的扫描范围：%@（可用：developer、dependencies、simulators、projectCaches、logs、general、trash）",
          {raw})};
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

// Review rows are ticked only when the user asked for them: the Trash's rows with --empty-trash or
// --surface trash. A plan file ticks a row by setting "selected" to true.
bool ticked(const ReviewItem& item, bool trashAsked) { return trashAsked && isTrashRow(item); }

nlohmann::json previewJson(const PreviewReport& report, bool trashAsked) {
  nlohmann::json document = report;
  for (size_t i = 0; i < report.reviewItems.size(); ++i) {
    document["reviewItems"][i]["selected"] = ticked(report.reviewItems[i], trashAsked);
  }
  return document;
}

void printTrashRows(const std::vector<const ReviewItem*>& rows, bool trashAsked) {
  std::uint64_t bytes = 0;
  for (const auto* item : rows) bytes += item->byteSize;
  std::cout << paint(L10n::translate("废纸篓"), Colour::bold) << "  "
            << L10n::translate("%@ 项，%@", {std::to_string(rows.size()), formatBytes(bytes)}) << "  "
            << paint(trashAsked ? L10n::translate("将永久删除，无法恢复")
                                : L10n::translate("不会清空，除非使用 --empty-trash"),
                     trashAsked ? Colour::yellow : Colour::dim)
            << '\n';
  Table table({"", L10n::translate("原位置"), L10n::translate("大小"), L10n::translate("说明")},
              {Table::Align::left, Table::Align::left, Table::Align::right, Table::Align::left});
  for (const auto* item : rows) {
    table.add({trashAsked ? "[x]" : "[ ]", printablePath(item->title), formatBytes(item->byteSize), item->detail});
  }
  std::cout << table.render() << '\n';
}

void printPreview(const PreviewReport& report, bool trashAsked) {
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
  std::vector<const ReviewItem*> trashRows;
  std::vector<const ReviewItem*> otherRows;
  for (const auto& item : report.reviewItems) (isTrashRow(item) ? trashRows : otherRows).push_back(&item);
  if (!trashRows.empty()) printTrashRows(trashRows, trashAsked);
  if (!otherRows.empty()) {
    std::cout << paint(L10n::translate("复核项目（不会删除，除非在清理计划中选中）"), Colour::bold) << '\n';
    for (const auto* row : otherRows) {
      const auto& item = *row;
      std::cout << "  [ ] " << printablePath(item.title) << "  " << formatBytes(item.byteSize) << '\n'
                << "      " << printablePath(item.path) << '\n'
                << "      " << paint(item.detail, Colour::dim) << '\n';
    }
    std::cout << '\n';
  }
  std::uint64_t total = candidateBytes(report);
  std::size_t count = report.candidates.size() + report.ownerCaches.size();
  for (const auto& plan : report.ownerCaches) total += plan.byteSize;
  for (const auto* item : trashRows) {
    if (!trashAsked) break;
    total += item->byteSize;
    ++count;
  }
  std::cout << L10n::translate("可清理：%@ 项，共 %@", {std::to_string(count), formatBytes(total)}) << '\n';
  if (report.interrupted) std::cout << paint(L10n::translate("扫描被中断，以上结果不完整"), Colour::yellow) << '\n';
}

void printRunReport(const RunReport& report, RemovalMode mode) {
  std::cout << removalSummary(report, mode);
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
        if (item.value("section", "") == "trash") {
          ++selection.trashItems;
          selection.trashBytes += item.value("byteSize", std::uint64_t{0});
        }
      }
    }
    selection.ownerCaches = report.ownerCaches;
    for (const auto& candidate : report.candidates) selection.bytes += candidate.byteSize;
  } catch (const nlohmann::json::exception& e) {
    throw EngineError::io(L10n::translate("清理计划不是有效的预览报告：%@", {e.what()}));
  }
  return selection;
}

Selection previewSelection(const PreviewReport& report, bool trashAsked) {
  Selection selection;
  for (const auto& candidate : report.candidates) selection.paths.push_back(candidate.path);
  selection.ownerCaches = report.ownerCaches;
  selection.bytes = candidateBytes(report);
  for (const auto& plan : report.ownerCaches) selection.bytes += plan.byteSize;
  for (const auto& item : report.reviewItems) {
    if (!ticked(item, trashAsked)) continue;
    selection.paths.push_back(item.path);
    ++selection.trashItems;
    selection.trashBytes += item.byteSize;
  }
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
    const auto others = selection.paths.size() + selection.ownerCaches.size() - selection.trashItems;
    const auto count = std::to_string(others);
    const std::string trashCount = std::to_string(selection.trashItems);
    const std::string trashBytes = formatBytes(selection.trashBytes);
    std::string question;
    if (others == 0) {
      question = L10n::translate("永久删除废纸篓中的 %@ 项（%@）？无法恢复", {trashCount, trashBytes});
    } else {
      if (selection.trashItems > 0) {
        context.note(L10n::translate("永久删除废纸篓中的 %@ 项（%@），无法恢复", {trashCount, trashBytes}));
      }
      question = options.trash ? L10n::translate("将 %@ 项（%@）移到废纸篓？", {count, formatBytes(selection.bytes)})
                               : L10n::translate("永久删除 %@ 项（%@）？", {count, formatBytes(selection.bytes)});
    }
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
    printRunReport(report, engine.mode);
  }
  return runExitStatus(context, report);
}

int handle(Context& context, const CleanOptions& options) {
  if (options.dryRun && options.yes) throw UsageError{L10n::translate("--dry-run 与 --yes 不能同时使用")};
  if (!options.planFile.empty() && options.dryRun)
    throw UsageError{L10n::translate("--plan 与 --dry-run 不能同时使用")};
  const SurfaceSet surfaces = requestedSurfaces(options);
  const bool trashAsked = asksForTrash(options);
  ScanRuleConfig config = loadRuleConfig(context, options.rulesFile);
  const auto gameMarkers = SmartCleanCatalog::gameMarkers(config.gamePathMarkers);
  const CleanEngine engine = makeEngine(context, options, std::move(config));

  if (!options.planFile.empty()) return runSelection(context, engine, options, planSelection(options.planFile), 0);

  auto& progress = context.progress();
  const auto tally = std::make_shared<ScanTally>();
  PreviewReport report;
  if (!onlyTrash(options)) {
    report = engine.preview(
        engine.defaultRules(), surfaces, !options.noReview,
        [&](const ScanProgress& step) {
          progress.update(step.path, step.found ? std::optional<std::uint64_t>(*step.found) : std::nullopt,
                          step.fraction);
        },
        context.stopToken(), tally);
    if (options.smart) report = SmartCleanCatalog::filter(report, gameMarkers);
  }
  // Asked for, the Trash is listed whatever else the preview left out.
  const bool listed = std::any_of(report.reviewItems.begin(), report.reviewItems.end(), isTrashRow);
  if (trashAsked && !listed && !report.interrupted) {
    progress.update(L10n::translate("废纸篓"), std::nullopt, std::nullopt);
    for (auto& item : engine.trashItems(context.stopToken(), tally)) report.reviewItems.push_back(std::move(item));
    report.interrupted = context.stopToken().stop_requested();
  }
  progress.clear();

  if (report.interrupted || options.dryRun) {
    if (context.json())
      context.printJson(previewJson(report, trashAsked));
    else
      printPreview(report, trashAsked);
    return report.interrupted ? kExitInterrupted : kExitOk;
  }
  if (!context.json()) printPreview(report, trashAsked);
  return runSelection(context, engine, options, previewSelection(report, trashAsked), tally->files());
}

}  // namespace

Handler setupClean(CLI::App& command, Context& /*context*/) {
  auto options = std::make_shared<CleanOptions>();
  command
      .add_option("--surface", options->surfaces,
                  "Scan only these surfaces: developer, dependencies, simulators, projectCaches, logs, general; "
                  "trash ticks the Trash's items for emptying")
      ->type_name("X");
  command.add_flag("--smart", options->smart, "Only the low-risk caches and logs of the one-click clean");
  command.add_flag("--no-review", options->noReview, "Skip the review of large backups and developer data");
  command.add_option("--rules", options->rulesFile, "Use this rule file instead of the shipped one")->type_name("FILE");
  command.add_flag("--dry-run", options->dryRun, "Preview only; remove nothing");
  command.add_flag("--yes", options->yes, "Remove every candidate without asking");
  command.add_flag("--trash", options->trash, "Move to the Trash instead of deleting permanently");
  command.add_flag("--empty-trash", options->emptyTrash,
                   "Also empty the Trash: tick its items, which are deleted permanently (same as --surface trash)");
  command
      .add_option("--plan", options->planFile, "Run a saved preview (from --dry-run --json), checking every path again")
      ->type_name("FILE");
  return [options](Context& context) { return handle(context, *options); };
}

}  // namespace tidyloom::cli
