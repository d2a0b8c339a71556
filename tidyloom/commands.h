// The table of commands: each entry adds its subcommand and returns the handler to run.
#pragma once

#include <functional>
#include <span>

#include <CLI/CLI.hpp>

#include "context.h"

namespace tidyloom::cli {

using Handler = std::function<int(Context&)>;
using Setup = Handler (*)(CLI::App& command, Context& context);

struct Command {
  const char* name;
  const char* summary;  // nullptr: an internal command, left out of --help
  Setup setup;
};

std::span<const Command> commands();

// One setup function per command, each in its own file.
Handler setupClean(CLI::App& command, Context& context);
Handler setupStatus(CLI::App& command, Context& context);
Handler setupHistory(CLI::App& command, Context& context);
Handler setupStats(CLI::App& command, Context& context);
Handler setupRules(CLI::App& command, Context& context);
Handler setupAnalyze(CLI::App& command, Context& context);
Handler setupOverview(CLI::App& command, Context& context);
Handler setupLens(CLI::App& command, Context& context);
Handler setupLarge(CLI::App& command, Context& context);
Handler setupDupes(CLI::App& command, Context& context);
Handler setupRemove(CLI::App& command, Context& context);
Handler setupUndo(CLI::App& command, Context& context);
Handler setupProtect(CLI::App& command, Context& context);
Handler setupWhitelist(CLI::App& command, Context& context);
Handler setupSystem(CLI::App& command, Context& context);
Handler setupHelper(CLI::App& command, Context& context);
Handler setupAdminRemove(CLI::App& command, Context& context);

}  // namespace tidyloom::cli
