// HelperLink: one connection to the root daemon carrying one request and its reply.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "helper/helper_protocol.h"

namespace tidyloom {

class HelperLink {
 public:
  using ReplyHandler = std::function<void(std::optional<std::string> bytes, std::optional<std::string> message)>;
  using ErrorHandler = std::function<void(std::string message)>;

  virtual ~HelperLink() = default;
  // Sends the request; later, on another thread, calls `reply` with the daemon's answer or `error`
  // with a localised reason the connection failed. False when no usable proxy could be had.
  virtual bool send(const HelperRequest& request, ReplyHandler reply, ErrorHandler error) = 0;
  // Drops the connection and waits until no handler can run any more.
  virtual void invalidate() = 0;
  // Tells the daemon that nothing more will be asked: it stops a removal after the path in hand
  // and still answers with what it did.
  virtual void finishEarly() {}
};

using HelperLinkFactory = std::function<std::unique_ptr<HelperLink>()>;

// A link over the daemon's local stream socket at `socketPath`. The daemon is accepted only when
// the socket's peer runs as root.
std::unique_ptr<HelperLink> makeSocketHelperLink(std::string socketPath);

}  // namespace tidyloom
