// The command table (kept in the order `tidyloom --help` lists them).
#include "commands.h"

#include <array>

namespace tidyloom::cli {

std::span<const Command> commands() {
  static constexpr std::array kCommands{
      Command{"status", "Show a snapshot of the machine's state with a health score", setupStatus},
  };
  return kCommands;
}

}  // namespace tidyloom::cli
