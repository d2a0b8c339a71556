// tidyloom remove: shows what will be removed (sizes, mode, verdicts), asks, then runs the Remover.
#include <filesystem>
#include <iostream>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "core/engine_error.h"
#include "core/json_coding.h"
#include "l10n/l10n.h"
#include "output.h"
#include "removal/file_measure.h"
#include "removal/whitelist_policy.h"
#include "removal/whitelist_store.h"
#include "removal_options.h"
#include "run_recording.h"

namespace tidyloom::cli {
namespace {

struct RemoveOptions {
  bool trash = false;
  bool permanent = false;
  std::string scope = "userSelected";
  bool stopOnFailure = false;
  bool yes = false;
  std::vector<std::string> paths;
};

// The plan shown before anything is touched; returns how many paths the protection layer allows.
size_t showPlan(Context& context, const std::vector<std::string>& targets, RemovalMode mode, RemovalScope scope) {
  const auto& locations = context.locations();
  const ProtectionLayer layer = protectionFor(context);
  const CompiledWhitelist whitelist(
      WhitelistStore(locations.applicationSupport / "whitelist.json").effectivePatterns(locations.roots.home.string()));
  Table table({L10n::translate("位置"), L10n::translate("大小"), L10n::translate("说明")},
              {Table::Align::left, Table::Align::right, Table::Align::left});
  size_t allowed = 0;
  std::uint64_t total = 0;
  for (size_t i = 0; i < targets.size() && !context.interrupted(); ++i) {
    const auto& path = targets[i];
    context.progress().update(L10n::translate("正在计算大小"), i, static_cast<double>(i) / targets.size(), path);
    std::string remark;
    std::error_code ec;
    try {
      layer.assertRemovable(path, locations.roots, scope);
      if (!std::filesystem::exists(std::filesystem::symlink_status(path, ec))) {
        remark = L10n::translate("不存在，将跳过");
      } else {
        ++allowed;
        // The whitelist binds the cleaning engines; a path named by hand is only flagged.
        if (WhitelistPolicy::protects(path, whitelist, true)) {
          remark = paint(L10n::translate("在白名单中"), Colour::yellow);
        } else if (WhitelistPolicy::protectsContentOf(path, whitelist, context.stopToken())) {
          remark = paint(L10n::translate("包含白名单内容"), Colour::yellow);
        }
      }
    } catch (const EngineError& e) {
      remark = paint(printablePath(e.message()), Colour::red);
    }
    const auto size = FileMeasure::byteSize(path, nullptr, context.stopToken());
    total += size;
    table.add({printablePath(path), formatBytes(size), remark});
  }
  context.progress().clear();
  std::cerr << table.render();
  const std::string how =
      mode == RemovalMode::trash ? L10n::translate("移入废纸篓，可以恢复") : L10n::translate("永久删除，无法撤销");
  context.note(L10n::translate("方式：%@；范围：%@；合计 %@", {how, rawValue(scope), formatBytes(total)}));
  return allowed;
}

void printReport(const Context& context, const RunReport& report, RemovalMode mode) {
  if (context.json()) {
    context.printJson(nlohmann::json(report));
    return;
  }
  std::cout << removalSummary(report, mode);
  if (report.failed.empty()) return;
  std::cout << paint(L10n::translate("%@ 项未能处理：", {std::to_string(report.failed.size())}), Colour::red) << '\n';
  for (const auto& failure : report.failed) {
    std::cout << "  " << printablePath(failure.path) << "\n    " << printablePath(failure.reason) << '\n';
  }
}

int removePaths(Context& context, const RemoveOptions& options) {
  const RemovalMode mode = options.permanent ? RemovalMode::permanent : RemovalMode::trash;
  const RemovalScope scope = parseScope(options.scope);

  // A control character in a path is refused before anything else looks at it.
  RunReport refused;
  std::vector<std::string> targets;
  for (const auto& given : options.paths) {
    if (hasControlCharacter(given)) {
      refused.failed.push_back({given, L10n::translate("路径包含控制字符：%@", {printablePath(given)})});
    } else {
      targets.push_back(absolutePath(given));
    }
  }
  if (options.stopOnFailure && !refused.failed.empty()) targets.clear();

  if (!options.yes && !targets.empty()) {
    const size_t allowed = showPlan(context, targets, mode, scope);
    if (context.interrupted()) {
      context.note(L10n::translate("未删除任何内容。"));
      return kExitInterrupted;
    }
    const std::string n = std::to_string(allowed);
    const std::string question = mode == RemovalMode::trash ? L10n::translate("将 %@ 项移到废纸篓？", {n})
                                                            : L10n::translate("永久删除 %@ 项？此操作无法撤销。", {n});
    if (allowed > 0 && !context.confirm(question)) {
      context.note(L10n::translate("未删除任何内容。"));
      if (context.json()) context.printJson(nlohmann::json(refused));
      return refused.failed.empty() ? kExitOk : kExitFailure;
    }
  }

  Remover remover = removerFor(context);
  remover.tally = std::make_shared<ScanTally>();
  size_t done = 0;
  remover.progress = [&](const RemovalEvent& event) {
    if (const auto* started = std::get_if<RemovalStarted>(&event)) {
      context.progress().update(L10n::translate("正在删除"), done, static_cast<double>(done) / targets.size(),
                                started->path);
    } else {
      ++done;
    }
  };
  const RunReport report = remover.remove(targets, mode, context.locations().roots, scope, options.stopOnFailure);
  context.progress().clear();
  refused.merge(report);
  recordRun(context, "remove", mode, refused, remover.tally->files());
  printReport(context, refused, mode);
  return runExitStatus(context, refused);
}

}  // namespace

Handler setupRemove(CLI::App& command, Context& /*context*/) {
  auto options = std::make_shared<RemoveOptions>();
  auto* trash = command.add_flag("--trash", options->trash, "Move to the Trash (default)");
  auto* permanent = command.add_flag("--permanent", options->permanent, "Delete permanently");
  trash->excludes(permanent);
  command.add_option("--scope", options->scope, "userData, uninstallApp, externalVolume or userSelected (default)")
      ->type_name("S");
  command.add_flag("--stop-on-failure", options->stopOnFailure, "Stop at the first path that fails");
  command.add_flag("--yes,-y", options->yes, "Do not ask before removing");
  command.add_option("PATH", options->paths, "Paths to remove")->required();
  return [options](Context& context) { return removePaths(context, *options); };
}

}  // namespace tidyloom::cli
