// tidyloom status: placeholder until the status engine lands.
#include "commands.h"

namespace tidyloom::cli {

Handler setupStatus(CLI::App& /*command*/, Context& /*context*/) {
  return [](Context& context) {
    context.printJson(nlohmann::json::object());
    return kExitOk;
  };
}

}  // namespace tidyloom::cli
