// The command table (kept in the order `tidyloom --help` lists them).
#include "commands.h"

#include <array>

namespace tidyloom::cli {

std::span<const Command> commands() {
  static constexpr std::array kCommands{
      Command{"rules", "Check a rule file of clean targets", setupRules},
      Command{"status", "Show a snapshot of the machine's state with a health score", setupStatus},
      Command{"history", "List finished runs, newest first, or export them", setupHistory},
      Command{"stats", "Show days of use, bytes freed and files scanned", setupStats},
  };
  return kCommands;
}

}  // namespace tidyloom::cli
