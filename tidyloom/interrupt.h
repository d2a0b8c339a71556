// Ctrl-C handling: the first SIGINT stops the current operation cleanly; a second one ends at once.
#pragma once

#include <stop_token>

namespace tidyloom::cli {

// Blocks SIGINT/SIGTERM in every thread and starts the thread that waits for them. Call first in main.
void installInterruptHandling();
std::stop_token interruptToken();

}  // namespace tidyloom::cli
