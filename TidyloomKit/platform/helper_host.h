// What this host says about the root daemon: which build we are, whether the daemon is registered.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tidyloom::platform {

enum class HelperRegistrationStatus { notRegistered, enabled, requiresApproval, notFound };

struct HelperHostFacts {
  // macOS: the main bundle's identifier. Linux: `clientIdentifier` when this process runs the
  // trusted front end of a root-owned installation that also holds the daemon; nothing otherwise.
  std::optional<std::string> bundleIdentifier;
  HelperRegistrationStatus registration = HelperRegistrationStatus::notFound;
  // macOS: the Mach service name. Linux: the daemon's socket, "/run/tidyloom-helper.sock" unless
  // the environment variable TIDYLOOM_HELPER_SOCKET names another (for tests and relocated units).
  std::string endpoint;
  // True where peers are pinned by code signature (macOS); on Linux the client pins the daemon to root.
  bool signedPeers = false;
};

HelperHostFacts helperHostFacts(std::string_view clientIdentifier, std::string_view label);

}  // namespace tidyloom::platform
