// tidyloom helper status: is the root daemon installed, enabled, and answering this front end?
#include <iostream>

#include "commands.h"
#include "core/engine_error.h"
#include "helper/privileged_helper.h"
#include "helper/privileged_helper_client.h"
#include "l10n/l10n.h"
#include "output.h"
#include "platform/helper_host.h"
#include "platform/helper_installation.h"
#include "platform/peer_identity.h"

namespace tidyloom::cli {
namespace {

using namespace std::chrono_literals;

struct HelperStatus {
  bool installed = false;
  bool enabled = false;
  bool reachable = false;
  std::string endpoint;
  std::optional<std::string> message;  // why it is not reachable
};

HelperStatus probe(const Context& context) {
  HelperStatus status;
  if (context.fixtureMode()) {
    status.message = L10n::translate("测试目录模式下不使用系统权限助手");
    return status;
  }
  const auto facts = platform::helperHostFacts(PrivilegedHelper::clientIdentifier, PrivilegedHelper::label);
  status.endpoint = facts.endpoint;
  if (const auto self = platform::currentExecutable()) {
    const auto installation = platform::HelperInstallation::ofFrontEnd(*self);
    std::error_code ignored;
    status.installed = std::filesystem::exists(installation.daemon(), ignored) &&
                       std::filesystem::exists(installation.socketUnit(), ignored);
  }
  status.enabled = facts.registration == platform::HelperRegistrationStatus::enabled;
  // A real, harmless round trip (an empty removal) tells whether the daemon accepts this very program.
  const PrivilegedHelperClient client("uid 0", [&] { return makeSocketHelperLink(facts.endpoint); });
  try {
    (void)client.call(15s, RemoveSystemPathsRequest{{}, std::string(rawValue(L10n::currentLanguage()))});
    status.reachable = true;
  } catch (const EngineError& error) {
    status.message = error.message();
  }
  return status;
}

std::string yesNo(bool value) {
  return value ? paint(L10n::translate("是"), Colour::green) : paint(L10n::translate("否"), Colour::yellow);
}

}  // namespace

Handler setupHelper(CLI::App& command, Context& /*context*/) {
  auto* status = command.add_subcommand("status", "Show whether the root helper is installed, enabled and reachable");
  command.require_subcommand(1);
  return [status](Context& context) {
    if (!status->parsed()) return kExitUsage;
    const HelperStatus result = probe(context);
    if (context.json()) {
      context.printJson({{"installed", result.installed},
                         {"enabled", result.enabled},
                         {"reachable", result.reachable},
                         {"socket", result.endpoint},
                         {"message", result.message ? nlohmann::json(*result.message) : nlohmann::json(nullptr)}});
      return kExitOk;
    }
    std::cout << L10n::translate("已安装：%@", {yesNo(result.installed)}) << '\n'
              << L10n::translate("已启用：%@", {yesNo(result.enabled)}) << '\n'
              << L10n::translate("可连接：%@", {yesNo(result.reachable)}) << '\n';
    if (result.message) std::cout << "  " << *result.message << '\n';
    return kExitOk;
  };
}

}  // namespace tidyloom::cli
