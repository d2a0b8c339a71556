// The Linux listener: the socket systemd passes us, one thread per accepted connection, each peer
// checked against the installed front end before a single byte is read from it.
#include <sys/socket.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <semaphore>
#include <thread>

#include "helper/helper_connection.h"
#include "l10n/l10n.h"
#include "listener.h"
#include "platform/helper_installation.h"
#include "platform/peer_identity.h"

namespace tidyloom::helper {
namespace {

using namespace std::chrono_literals;

// Connections served at once; more wait in the socket's backlog.
constexpr std::ptrdiff_t kMaxConnections = 32;
std::counting_semaphore<kMaxConnections> gSlots(kMaxConnections);

void log(const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); }

// Only the front end of the daemon's own root-owned installation; looked up per connection so that
// an upgraded front end is recognised. A daemon outside such an installation accepts nobody.
bool runsInstalledFrontEnd(int fd) {
  const auto self = platform::currentExecutable();
  if (!self) return false;
  const auto trusted = platform::HelperInstallation::ofDaemon(*self).trustedFrontEnd();
  return trusted && platform::peerRunsExecutable(fd, *trusted);
}

}  // namespace

void startListener(const PrivilegedHelperService& service, const PrivilegedHelperActivityRef& activity) {
  if (::sd_listen_fds(1) != 1 || ::sd_is_socket_unix(SD_LISTEN_FDS_START, SOCK_STREAM, 1, nullptr, 0) <= 0) {
    log(L10n::translate("系统权限助手须由 systemd 套接字激活启动"));
    std::exit(1);
  }
  std::thread([&service, activity] {
    ConnectionPolicy policy;
    policy.peerAllowed = runsInstalledFrontEnd;
    policy.log = log;
    for (;;) {
      gSlots.acquire();
      const int fd = ::accept4(SD_LISTEN_FDS_START, nullptr, nullptr, SOCK_CLOEXEC);
      if (fd < 0) {
        gSlots.release();
        if (errno == EMFILE || errno == ENFILE || errno == ENOMEM) std::this_thread::sleep_for(100ms);
        continue;
      }
      // Counted from accept to close, so the idle exit can never cut a connection short.
      activity->begin();
      std::thread([&service, &policy = policy, activity, fd] {
        (void)serveConnection(fd, service, policy);
        (void)::close(fd);
        activity->end();
        gSlots.release();
      }).detach();
    }
  }).detach();
}

void parkMainThread() {
  for (;;) ::pause();
}

}  // namespace tidyloom::helper
