// One accepted connection on the daemon's side: peer check, one bounded request, one reply.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "helper/helper_service.h"

namespace tidyloom {

struct ConnectionPolicy {
  // Decides, before anything is read, whether the peer on `fd` may talk to the daemon.
  std::function<bool(int fd)> peerAllowed;
  // A whole request must arrive this soon after the connection (a front end sends it at once); a
  // stalled peer does not hold a slot long.
  std::chrono::milliseconds requestTimeout = std::chrono::seconds(2);
  std::chrono::milliseconds replyTimeout = std::chrono::seconds(30);
  // Longest a removal runs on; paths left after it are not touched.
  std::chrono::milliseconds removalTimeout = std::chrono::seconds(600);
  // Where the daemon notes refused and dropped connections (its standard error, the journal).
  std::function<void(const std::string&)> log;
};

enum class ConnectionOutcome { answered, refused, dropped };

// Serves one connection and returns; the caller closes `fd`. A peer that breaks the framing, sends
// something oversized or malformed, or stalls is dropped without a reply.
ConnectionOutcome serveConnection(int fd, const PrivilegedHelperService& service, const ConnectionPolicy& policy);

}  // namespace tidyloom
