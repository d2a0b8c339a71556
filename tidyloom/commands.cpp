// The command table (kept in the order `tidyloom --help` lists them).
#include "commands.h"

#include <array>

namespace tidyloom::cli {

std::span<const Command> commands() {
  static constexpr std::array kCommands{
      Command{"clean", "Preview caches and logs that can go, then remove what you keep", setupClean},
      Command{"remove", "Move paths to the Trash or delete them, after the protection checks", setupRemove},
      Command{"undo", "Put the items of a run back from the Trash where they were", setupUndo},
      Command{"protect", "Say whether the protection layer allows removing paths", setupProtect},
      Command{"whitelist", "Show, edit or check the whitelist of paths never cleaned", setupWhitelist},
      Command{"rules", "Check a rule file of clean targets", setupRules},
      Command{"analyze", "List a folder's contents, biggest first", setupAnalyze},
      Command{"overview", "Show where the space in your home and on your volumes goes", setupOverview},
      Command{"lens", "Map a folder tree's sizes and list any indexed folder, biggest first", setupLens},
      Command{"large", "List the biggest files by size, last use and kind", setupLarge},
      Command{"dupes", "Find sets of identical files and the space their extra copies take", setupDupes},
      Command{"status", "Show a snapshot of the machine's state with a health score", setupStatus},
      Command{"history", "List finished runs, newest first, or export them", setupHistory},
      Command{"stats", "Show days of use, bytes freed and files scanned", setupStats},
      Command{"system", "Scan and remove old system caches and logs (root helper or administrator)", setupSystem},
      Command{"helper", "Show the root helper daemon's state", setupHelper},
      Command{"admin-remove", nullptr, setupAdminRemove},
  };
  return kCommands;
}

}  // namespace tidyloom::cli
