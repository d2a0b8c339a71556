// tidyloom system scan: placeholder until the system scanner is wired.
#include "commands.h"

namespace tidyloom::cli {

Handler setupSystem(CLI::App& /*command*/, Context& /*context*/) {
  return [](Context& /*context*/) { return kExitUsage; };
}

}  // namespace tidyloom::cli
