// The Linux listener: the socket systemd passes us, one thread per accepted connection, each peer
// checked against the installed front end before a single byte is read from it.
#include <sys/socket.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "helper/connection_gate.h"
#include "helper/helper_connection.h"
#include "l10n/l10n.h"
#include "listener.h"
#include "platform/helper_installation.h"
#include "platform/peer_identity.h"

namespace tidyloom::helper {
namespace {

using namespace std::chrono_literals;

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
  // The administrators' group is configurable in the service unit (TIDYLOOM_HELPER_ADMIN_GROUPS).
  const char* groups = std::getenv("TIDYLOOM_HELPER_ADMIN_GROUPS");
  static ConnectionGate gate(ConnectionGate::administratorsGroup(groups ? groups : ""), {}, log);
  std::thread([&service, activity] {
    ConnectionPolicy policy;
    policy.peerAllowed = runsInstalledFrontEnd;
    policy.log = [](const std::string& line) { gate.log(line); };
    for (;;) {
      const int fd = ::accept4(SD_LISTEN_FDS_START, nullptr, nullptr, SOCK_CLOEXEC);
      if (fd < 0) {
        if (errno == EMFILE || errno == ENFILE || errno == ENOMEM) std::this_thread::sleep_for(100ms);
        continue;
      }
      // Refused here, on the accepting thread, from the kernel's record of the peer: a refused
      // connection costs no thread, is never read, and does not count as work that keeps us awake.
      const auto peer = platform::socketPeerCredentials(fd);
      if (!peer || !gate.admit(*peer)) {
        (void)::close(fd);
        continue;
      }
      // Counted from admission to close, so the idle exit can never cut a served connection short.
      activity->begin();
      std::thread([&service, &policy = policy, activity, fd, uid = peer->uid] {
        (void)serveConnection(fd, service, policy);
        (void)::close(fd);
        gate.release(uid);
        activity->end();
      }).detach();
    }
  }).detach();
}

void parkMainThread() {
  for (;;) ::pause();
}

}  // namespace tidyloom::helper
