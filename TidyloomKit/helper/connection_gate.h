// ConnectionGate: who may talk to the root daemon and how many at once, decided from the peer's
// credentials before a single byte is read, with refusals logged at a bounded rate.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "platform/peer_identity.h"

namespace tidyloom {

class ConnectionGate {
 public:
  struct Limits {
    size_t total = 64;    // connections served at once
    size_t perUser = 8;   // of them, from one user other than root
    size_t logLines = 5;  // refusals written per minute; the rest are counted
  };
  using Log = std::function<void(const std::string&)>;
  using Clock = std::function<std::chrono::steady_clock::time_point()>;

  // `administrators`: the group whose members may use the daemon besides root; nothing means
  // root alone.
  ConnectionGate(
      std::optional<gid_t> administrators, Limits limits, Log log,
      Clock clock = [] { return std::chrono::steady_clock::now(); });

  // True when the peer is admitted; the caller then calls release(uid) once the connection ends.
  // A refusal is logged (within the rate) with its reason and changes nothing else.
  bool admit(const platform::PeerCredentials& peer);
  void release(uid_t uid);
  // Logs a line (a refusal decided elsewhere, a dropped connection) under the same rate limit.
  void log(const std::string& line);

  // The administrators' group: the first of `names` that exists (default "sudo admin wheel").
  static std::optional<gid_t> administratorsGroup(const std::string& names);

 private:
  bool isAdministrator(const platform::PeerCredentials& peer) const;

  std::optional<gid_t> administrators_;
  Limits limits_;
  Log log_;
  Clock clock_;
  std::mutex lock_;
  std::map<uid_t, size_t> perUser_;
  size_t total_ = 0;
  std::chrono::steady_clock::time_point windowStart_{};
  size_t loggedInWindow_ = 0;
  size_t suppressed_ = 0;
};

}  // namespace tidyloom
