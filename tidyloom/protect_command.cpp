// tidyloom protect [--scope S] PATH...: asks the protection layer about each path, removing nothing.
#include <iostream>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "core/engine_error.h"
#include "l10n/l10n.h"
#include "output.h"
#include "removal_options.h"

namespace tidyloom::cli {
namespace {

struct ProtectOptions {
  std::string scope = "userSelected";
  std::vector<std::string> paths;
};

struct Verdict {
  std::string path;
  std::optional<std::string> message;  // the refusal; none when allowed
};

int protect(Context& context, const ProtectOptions& options) {
  const RemovalScope scope = parseScope(options.scope);
  const ProtectionLayer layer = protectionFor(context);
  std::vector<Verdict> verdicts;
  for (const auto& given : options.paths) {
    if (hasControlCharacter(given)) {
      verdicts.push_back({given, L10n::translate("路径包含控制字符：%@", {printablePath(given)})});
      continue;
    }
    const std::string path = absolutePath(given);
    try {
      layer.assertRemovable(path, context.locations().roots, scope);
      verdicts.push_back({path, std::nullopt});
    } catch (const EngineError& e) {
      verdicts.push_back({path, e.message()});
    }
  }

  bool anyRefused = false;
  nlohmann::json rows = nlohmann::json::array();
  Table table({L10n::translate("位置"), L10n::translate("判定"), L10n::translate("说明")});
  for (const auto& verdict : verdicts) {
    anyRefused |= verdict.message.has_value();
    rows.push_back({{"path", verdict.path},
                    {"allowed", !verdict.message},
                    {"message", verdict.message ? nlohmann::json(*verdict.message) : nlohmann::json(nullptr)}});
    table.add(
        {printablePath(verdict.path),
         verdict.message ? paint(L10n::translate("拒绝"), Colour::red) : paint(L10n::translate("允许"), Colour::green),
         verdict.message ? printablePath(*verdict.message) : ""});
  }
  if (context.json()) {
    context.printJson(rows);
  } else {
    std::cout << table.render() << std::flush;
  }
  return anyRefused ? kExitFailure : kExitOk;
}

}  // namespace

Handler setupProtect(CLI::App& command, Context& /*context*/) {
  auto options = std::make_shared<ProtectOptions>();
  command.add_option("--scope", options->scope, "userData, uninstallApp, externalVolume or userSelected (default)")
      ->type_name("S");
  command.add_option("PATH", options->paths, "Paths to judge")->required();
  return [options](Context& context) { return protect(context, *options); };
}

}  // namespace tidyloom::cli
