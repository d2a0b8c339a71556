// A dedicated thread takes signals with sigwait, so no work happens in a signal handler.
#include "interrupt.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <thread>

namespace tidyloom::cli {
namespace {

std::stop_source& source() {
  static std::stop_source s;
  return s;
}

}  // namespace

void installInterruptHandling() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  std::thread([set] {
    for (;;) {
      int signal = 0;
      if (sigwait(&set, &signal) != 0) continue;
      if (source().stop_requested()) _exit(130);
      source().request_stop();
    }
  }).detach();
}

std::stop_token interruptToken() { return source().get_token(); }

}  // namespace tidyloom::cli
