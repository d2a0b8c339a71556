// The daemon's handling of one connection.
#include "helper/helper_connection.h"

#include <poll.h>
#include <sys/socket.h>

#include "helper/frame_io.h"
#include "l10n/l10n.h"

namespace tidyloom {
namespace {

// The client sends nothing after its request, so anything readable now is its end of stream.
bool peerHungUp(int fd) {
  pollfd entry{fd, POLLIN, 0};
  if (::poll(&entry, 1, 0) <= 0) return false;
  if ((entry.revents & (POLLHUP | POLLERR)) != 0) return true;
  char byte = 0;
  return ::recv(fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0;
}

}  // namespace

ConnectionOutcome serveConnection(int fd, const PrivilegedHelperService& service, const ConnectionPolicy& policy) {
  const auto note = [&](const std::string& line) {
    if (policy.log) policy.log(line);
  };
  if (!policy.peerAllowed || !policy.peerAllowed(fd)) {
    note(L10n::translate("拒绝连接：对方不是已安装的 tidyloom"));
    return ConnectionOutcome::refused;
  }
  std::string body;
  const auto received = std::chrono::steady_clock::now();
  const auto status = readFrame(fd, body, FrameLimits::kMaxRequestBytes, received + policy.requestTimeout);
  if (status != FrameStatus::ok) {
    if (status != FrameStatus::closed) note(L10n::translate("丢弃连接：请求过大、超时或格式无效"));
    return ConnectionOutcome::dropped;
  }
  const auto request = parseRequest(body);
  if (!request) {
    note(L10n::translate("丢弃连接：请求过大、超时或格式无效"));
    return ConnectionOutcome::dropped;
  }
  const auto deadline = received + policy.removalTimeout;
  // A removal stops between paths once its client has gone away or its time is up.
  const HelperReply reply =
      service.handle(*request, [&] { return peerHungUp(fd) || std::chrono::steady_clock::now() > deadline; });
  if (writeFrame(fd, encodeReply(reply), std::chrono::steady_clock::now() + policy.replyTimeout) != FrameStatus::ok) {
    return ConnectionOutcome::dropped;
  }
  return ConnectionOutcome::answered;
}

}  // namespace tidyloom
