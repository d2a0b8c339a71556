// tidyloom: the command-line front end. Parses, picks the language, runs one command handler.
#include <clocale>
#include <iostream>
#include <map>

#include "commands.h"
#include "core/engine_error.h"
#include "core/user_defaults.h"
#include "interrupt.h"
#include "l10n/l10n.h"

namespace tidyloom::cli {
namespace {

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
    CLI::App* sub = app.add_subcommand(command.name, command.summary);
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
    std::cerr << "tidyloom: " << e.what() << "\n";
    return kExitUsage;
  }
  if (!applyLanguage(context)) {
    std::cerr << "tidyloom: " << L10n::translate("未知的语言代码：%@", {context.options.lang}) << "\n";
    return kExitUsage;
  }
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
