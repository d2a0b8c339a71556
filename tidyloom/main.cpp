// tidyloom: the command-line front end. Parses, picks the language, runs one command handler.
#include <algorithm>
#include <clocale>
#include <iostream>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "commands.h"
#include "core/atomic_write.h"
#include "core/engine_error.h"
#include "core/user_defaults.h"
#include "interrupt.h"
#include "l10n/l10n.h"

namespace tidyloom::cli {
namespace {

// What a failed parse still needs: the language options and the first word that names the command.
struct ArgumentScan {
  std::string lang;
  std::string fixture;
  std::string command;
};

ArgumentScan scanArguments(int argc, char** argv) {
  ArgumentScan scan;
  for (int i = 1; i < argc; ++i) {
    const std::string_view arg = argv[i];
    std::string* target = arg.starts_with("--lang")      ? &scan.lang
                          : arg.starts_with("--fixture") ? &scan.fixture
                                                         : nullptr;
    if (target != nullptr && (arg == "--lang" || arg == "--fixture")) {
      if (i + 1 < argc) *target = argv[++i];
    } else if (target != nullptr && arg.find('=') != std::string_view::npos) {
      *target = std::string(arg.substr(arg.find('=') + 1));
    } else if (!arg.starts_with("-") && scan.command.empty()) {
      scan.command = std::string(arg);
    }
  }
  return scan;
}

// One line, whatever the parser said, localised where the reason is one we know.
std::string usageReason(const CLI::ParseError& error, const ArgumentScan& scan) {
  const bool known =
      std::any_of(commands().begin(), commands().end(), [&](const Command& c) { return scan.command == c.name; });
  if (!scan.command.empty() && !known) return L10n::translate("未知命令：%@", {scan.command});
  if (scan.command.empty() && dynamic_cast<const CLI::ArgumentMismatch*>(&error) == nullptr) {
    return L10n::translate("缺少命令");
  }
  std::string what = error.what();
  std::replace(what.begin(), what.end(), '\n', ' ');
  if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
    const size_t colon = what.find(": ");
    return L10n::translate("多余的参数：%@", {colon == std::string::npos ? what : what.substr(colon + 2)});
  }
  return what;
}

// --lang, else the stored language, else the locale (resolved inside L10n).
bool applyLanguage(Context& context) {
  if (!context.options.lang.empty()) {
    const auto language = appLanguageFromRaw(context.options.lang);
    if (!language) return false;
    L10n::setLanguage(*language);
    return true;
  }
  const UserDefaults defaults(context.locations().userDefaultsFile);
  if (const auto stored = defaults.string(std::string(kLanguageDefaultsKey))) {
    if (const auto language = appLanguageFromRaw(*stored)) L10n::setLanguage(*language);
  }
  return true;
}

int run(int argc, char** argv) {
  Context context;
  CLI::App app{"tidyloom: see where disk space went and get it back safely", "tidyloom"};
  app.set_version_flag("--version", std::string("tidyloom ") + TIDYLOOM_VERSION);
  app.require_subcommand(1);
  app.fallthrough();
  app.add_option("--fixture", context.options.fixture, "Put the whole system under DIR (for testing)")
      ->type_name("DIR");
  app.add_option("--lang", context.options.lang, "Display language (zh-Hans, en, ...)")->type_name("CODE");
  app.add_flag("--json", context.options.json, "Print exactly one JSON document on standard output");
  app.add_flag("--no-progress", context.options.noProgress, "Never draw progress on standard error");

  std::map<CLI::App*, Handler> handlers;
  for (const auto& command : commands()) {
    CLI::App* sub = app.add_subcommand(command.name, command.summary ? command.summary : "");
    if (!command.summary) sub->group("");
    sub->fallthrough();
    handlers[sub] = command.setup(*sub, context);
  }

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    const ArgumentScan scan = scanArguments(argc, argv);
    context.options.lang = scan.lang;
    context.options.fixture = scan.fixture;
    if (!applyLanguage(context)) {
      context.options.lang.clear();
      (void)applyLanguage(context);
    }
    const bool known =
        std::any_of(commands().begin(), commands().end(), [&](const Command& c) { return scan.command == c.name; });
    const std::string help = known ? "tidyloom " + scan.command : "tidyloom";
    std::cerr << "tidyloom: " << L10n::translate("%@（见 %@ --help）", {usageReason(e, scan), help}) << "\n";
    return kExitUsage;
  }
  if (!applyLanguage(context)) {
    std::cerr << "tidyloom: " << L10n::translate("未知的语言代码：%@", {context.options.lang}) << "\n";
    return kExitUsage;
  }
  setStoreNoticeHook([&context](const std::string& message) { context.warn(message); });
  for (CLI::App* sub : app.get_subcommands()) {
    try {
      return handlers.at(sub)(context);
    } catch (const UsageError& e) {
      context.error(e.message);
      return kExitUsage;
    } catch (const EngineError& e) {
      if (e.isCancelled()) return kExitInterrupted;
      context.error(e.message());
      return kExitFailure;
    } catch (const std::exception& e) {
      // Whatever escaped an engine still ends as one clear line and a failure status, never an abort.
      context.error(L10n::translate("意外错误：%@", {e.what()}));
      return kExitFailure;
    }
  }
  return kExitUsage;
}

}  // namespace
}  // namespace tidyloom::cli

int main(int argc, char** argv) {
  std::setlocale(LC_ALL, "");
  tidyloom::cli::installInterruptHandling();
  return tidyloom::cli::run(argc, argv);
}
