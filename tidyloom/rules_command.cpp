// tidyloom rules check [FILE]: validates a rule file and says what it holds, or its first error.
#include <iostream>

#include "clean/clean_targets_store.h"
#include "commands.h"
#include "l10n/l10n.h"
#include "output.h"
#include "rule_config.h"

namespace tidyloom::cli {
namespace {

struct RulesOptions {
  std::string file;
};

std::string count(size_t n) { return std::to_string(n); }

void printSummary(const std::string& source, const ScanRuleConfig& config) {
  std::cout << L10n::translate("规则文件有效：%@", {printablePath(source)}) << "\n\n";
  Table sections(
      {L10n::translate("清理分组"), L10n::translate("路径"), L10n::translate("通配模式"), L10n::translate("绝对路径"),
       L10n::translate("范围")},
      {Table::Align::left, Table::Align::right, Table::Align::right, Table::Align::right, Table::Align::left});
  for (const SectionRule& rule : config.cleanRules) {
    sections.add({rule.id, count(rule.relativePaths.size()), count(rule.relativePathPatterns.size()),
                  count(rule.absolutePaths.size()),
                  rule.recursiveContents ? L10n::translate("目录内容") : L10n::translate("整项")});
  }
  std::cout << sections.render() << "\n";
  Table totals({L10n::translate("内容"), L10n::translate("数量")}, {Table::Align::left, Table::Align::right});
  totals.add({L10n::translate("游戏启动器"), count(config.gameTargets.size())});
  totals.add({L10n::translate("浏览器配置目录"),
              count(config.browserCaches.profileRoots.size() + config.browserCaches.selectiveContainers.size())});
  totals.add({L10n::translate("开发工具分组"), count(config.developerGates.size())});
  totals.add({L10n::translate("应用进程分组"), count(config.productGates.size())});
  totals.add({L10n::translate("按版本保留的工具缓存"),
              count(config.versionedCaches.agentVersions.size() + config.versionedCaches.xcodeDeviceSupport.size() +
                    (config.versionedCaches.jetbrainsToolboxApps ? 1 : 0))});
  totals.add({L10n::translate("按时间清理的缓存"), count(config.ageGatedCaches.size())});
  totals.add({L10n::translate("设备固件目录"), count(config.deviceFirmwareRoots.size())});
  totals.add({L10n::translate("邮件附件目录"), count(config.mailDownloadRoots.size())});
  totals.add({L10n::translate("日志文件模式"),
              config.logFiles.projectLogs.namePattern.empty() ? L10n::translate("无") : L10n::translate("有")});
  std::cout << totals.render();
}

int check(Context& context, const RulesOptions& options) {
  const CleanTargetsStore store = ruleStore(context, options.file);
  const std::string source = store.fileURL ? store.fileURL->string()
                             : CleanTargetsStore::defaultFileURL(store.platform)
                                 ? CleanTargetsStore::defaultFileURL(store.platform)->string()
                                 : L10n::translate("内置规则（%@）", {CleanTargetsStore::resourceName(store.platform)});
  std::string failure;
  ScanRuleConfig config;
  try {
    config = store.load();
  } catch (const CleanTargetsStore::LoadError& e) {
    failure = e.message();
  } catch (const CleanTargetsStore::DecodingError& e) {
    failure = e.message();
  }
  if (context.json()) {
    context.printJson(failure.empty() ? nlohmann::json{{"ok", true}, {"rules", config.cleanRules.size()}}
                                      : nlohmann::json{{"ok", false}, {"error", failure}});
  } else if (failure.empty()) {
    printSummary(source, config);
  } else {
    context.error(failure);
  }
  return failure.empty() ? kExitOk : kExitFailure;
}

}  // namespace

Handler setupRules(CLI::App& command, Context& /*context*/) {
  auto options = std::make_shared<RulesOptions>();
  command.require_subcommand(1);
  CLI::App* checkCommand = command.add_subcommand("check", "Validate a rule file and summarise what it holds");
  checkCommand->add_option("FILE", options->file,
                           "The rule file (default: the rules this machine uses; macOS rules with --fixture)");
  return [options, checkCommand](Context& context) {
    if (checkCommand->parsed()) return check(context, *options);
    throw UsageError{L10n::translate("缺少子命令")};
  };
}

}  // namespace tidyloom::cli
