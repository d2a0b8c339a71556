// tidyloom admin-remove: the privileged end of administrator removal. The administrator shell runs
// it as root for one reviewed path; it resolves the path into a held handle again, requires the
// identity the unprivileged side checked, passes the protection layer and deletes permanently
// without following any link. Exit 0 when the path is gone; otherwise one line on standard error.
#include <charconv>
#include <iostream>
#include <memory>
#include <optional>

#include "commands.h"
#include "helper/helper_service.h"
#include "l10n/l10n.h"
#include "platform/peer_identity.h"
#include "removal_options.h"

namespace tidyloom::cli {
namespace {

struct AdminRemoveOptions {
  std::string scope = "userData";
  std::string expect;
  std::string home;
  std::string path;
  bool systemSections = false;
};

// "DEVICE:INODE" as printed by the unprivileged side.
std::optional<ItemIdentity> parseIdentity(const std::string& text) {
  ItemIdentity identity;
  const auto colon = text.find(':');
  if (colon == std::string::npos) return std::nullopt;
  const char* end = text.data() + text.size();
  const auto device = std::from_chars(text.data(), text.data() + colon, identity.device);
  const auto inode = std::from_chars(text.data() + colon + 1, end, identity.inode);
  if (device.ec != std::errc() || device.ptr != text.data() + colon || inode.ec != std::errc() || inode.ptr != end) {
    return std::nullopt;
  }
  return identity;
}

int run(Context& context, const AdminRemoveOptions& options) {
  const auto identity = parseIdentity(options.expect);
  if (!identity) throw UsageError{L10n::translate("无效的参数：%@", {options.expect})};
  Remover remover = removerFor(context);
  ScanRoots roots = context.locations().roots;
  // Run as root for a user: that user's home decides what userData allows, not root's.
  if (!context.fixtureMode() && !options.home.empty()) roots.home = options.home;
  remover.expectedIdentities[options.path] = *identity;
  if (options.systemSections) {
    // A fixture tree is shaped like macOS whatever the host, and judged with the macOS names.
    const auto scanner = context.fixtureMode() ? systemCleanScanSource(roots, PrivilegedHelperService::kMaxAgeDays,
                                                                       SystemScanNames::macOS())
                                               : systemCleanScanSource(roots, PrivilegedHelperService::kMaxAgeDays);
    remover.resolvedCheck = [scanner](const std::string& resolved) { scanner->assertPrivilegedRemovableNow(resolved); };
  }
  const RunReport report =
      remover.remove({options.path}, RemovalMode::permanent, roots, parseScope(options.scope), true);
  if (report.failed.empty()) return kExitOk;
  std::cerr << report.failed.front().reason << '\n';
  return kExitFailure;
}

}  // namespace

Handler setupAdminRemove(CLI::App& command, Context& context) {
  auto options = std::make_shared<AdminRemoveOptions>();
  command.add_option("--scope", options->scope, "Removal scope");
  command.add_option("--expect", options->expect, "DEVICE:INODE checked before")->required();
  command.add_option("--home", options->home, "Home folder of the user the removal is for");
  command.add_flag("--system", options->systemSections, "The path must lie in a section of the system scan");
  command.add_option("path", options->path, "The path")->required();
  return [&context, options](Context&) { return run(context, *options); };
}

std::vector<std::string> adminRemovalCommand(const Context& context, bool systemSections) {
  const auto self = platform::currentExecutable();
  std::vector<std::string> command{self ? self->string() : "tidyloom", "--no-progress", "--lang",
                                   std::string(rawValue(L10n::currentLanguage()))};
  if (context.fixtureMode()) command.insert(command.end(), {"--fixture", context.locations().fixtureRoot->string()});
  command.emplace_back("admin-remove");
  if (!context.fixtureMode()) command.insert(command.end(), {"--home", context.locations().roots.home.string()});
  if (systemSections) command.emplace_back("--system");
  return command;
}

}  // namespace tidyloom::cli
