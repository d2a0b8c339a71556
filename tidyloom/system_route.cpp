// Choosing and running the privileged route for system paths, and printing what happened.
#include "system_route.h"

#include <iostream>

#include "core/engine_error.h"
#include "core/json_coding.h"
#include "helper/helper_service.h"
#include "helper/privileged_helper.h"
#include "l10n/l10n.h"
#include "output.h"
#include "platform/helper_host.h"
#include "removal/admin_path_remover.h"
#include "removal/privileged_runner.h"
#include "removal_options.h"

namespace tidyloom::cli {

std::unique_ptr<PrivilegedHelperClient> requireHelperClient(const Context& context) {
  if (context.fixtureMode()) throw EngineError::io(L10n::translate("测试目录模式下不使用系统权限助手"));
  const auto facts = platform::helperHostFacts(PrivilegedHelper::clientIdentifier, PrivilegedHelper::label);
  if (facts.bundleIdentifier != PrivilegedHelper::clientIdentifier) {
    throw EngineError::io(L10n::translate("只有 root 所有的安装中的 tidyloom 才能使用系统权限助手"));
  }
  auto client = PrivilegedHelperClient::liveIfEnabled(facts);
  if (!client) throw EngineError::io(L10n::translate("系统权限助手未启用（%@）", {facts.endpoint}));
  return client;
}

RunReport removeSystemPaths(const Context& context, const std::vector<std::string>& paths, bool viaHelper) {
  if (viaHelper) return requireHelperClient(context)->removeSystemPaths(paths, context.stopToken());
  const ScanRoots& roots = context.locations().roots;
  // A fixture tree is shaped like macOS whatever the host, and is re-checked with the macOS names.
  const auto scanner = context.fixtureMode() ? systemCleanScanSource(roots, PrivilegedHelperService::kMaxAgeDays,
                                                                     SystemScanNames::macOS())
                                             : systemCleanScanSource(roots, PrivilegedHelperService::kMaxAgeDays);
  const auto recheck = [scanner](const std::string& path) { scanner->assertPrivilegedRemovableNow(path); };
  if (context.fixtureMode()) {
    // No privileged route in fixture mode: the same batch runs as the current user.
    RecordingPrivilegedRunner runner;
    runner.executeAdminCommands = true;
    runner.stop = context.stopToken();
    const auto protection = ProtectionLayer::forFixture(*context.locations().fixtureRoot);
    return AdminPathRemover(runner, adminRemovalCommand(context, true), protection)
        .remove(paths, roots, RemovalScope::userData, recheck);
  }
  PrivilegedRunner runner = PrivilegedRunner::live();
  runner.stop = context.stopToken();
  return AdminPathRemover(runner, adminRemovalCommand(context, true))
      .remove(paths, roots, RemovalScope::userData, recheck);
}

void printRunReport(const Context& context, const RunReport& report) {
  if (context.json()) {
    context.printJson(nlohmann::json(report));
    return;
  }
  for (const auto& path : report.removed) std::cout << paint("✓ ", Colour::green) << printablePath(path) << '\n';
  for (const auto& failure : report.failed) {
    std::cout << paint("✗ ", Colour::red) << printablePath(failure.path) << "  " << failure.reason << '\n';
  }
  std::cout << L10n::translate("已删除 %@ 项，失败 %@ 项，释放 %@",
                               {std::to_string(report.removed.size()), std::to_string(report.failed.size()),
                                formatBytes(report.freedBytes)})
            << '\n';
}

}  // namespace tidyloom::cli
