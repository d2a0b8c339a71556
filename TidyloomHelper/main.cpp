// TidyloomHelper: the root daemon. Refuses to run as anyone but root, serves requests, exits when idle.
#include <unistd.h>

#include <chrono>
#include <clocale>
#include <thread>

#include "core/scan_roots.h"
#include "helper/helper_activity.h"
#include "helper/helper_service.h"
#include "listener.h"

namespace {

constexpr char kNotRoot[] = "TidyloomHelper must run as a launchd daemon\n";

void sleepUntilWallClock(double seconds) {
  const auto at = std::chrono::system_clock::time_point(
      std::chrono::duration_cast<std::chrono::system_clock::duration>(std::chrono::duration<double>(seconds)));
  std::this_thread::sleep_until(at);
}

}  // namespace

int main() {
  if (::getuid() != 0) {
    (void)!::write(STDERR_FILENO, kNotRoot, sizeof kNotRoot - 1);
    return 1;
  }
  std::setlocale(LC_ALL, "");
  using namespace tidyloom;
  static const auto activity = std::make_shared<PrivilegedHelperActivity>();
  static const PrivilegedHelperService service(ScanRoots::live(), activity);
  helper::startListener(service, activity);

  // The idle exit: no cleanup, no flushing; the service manager starts us again on the next connection.
  std::thread([] {
    IdleWatch{activity, systemHelperClock(), sleepUntilWallClock}.run();
    ::_exit(0);
  }).detach();
  helper::parkMainThread();
}
