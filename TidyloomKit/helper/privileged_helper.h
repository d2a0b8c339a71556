// PrivilegedHelper: the fixed values that tie the front end to its root daemon, and the peer requirement.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tidyloom {

struct PrivilegedHelper {
  // The service name the daemon listens on; also the identity the client demands of the daemon.
  static constexpr std::string_view label = "com.tidyloom.helper";
  // The registration record of the daemon (the launchd property list inside the application bundle).
  static constexpr std::string_view plistName = "com.tidyloom.helper.plist";
  // The only build that may use the daemon.
  static constexpr std::string_view clientIdentifier = "com.tidyloom.app.cdn";

  // The team identifier of this process's own code signature; nothing for unsigned or ad-hoc builds.
  static std::optional<std::string> ownTeamIdentifier();
  // The code-signing requirement a peer must satisfy, built from this process's own team identifier.
  static std::optional<std::string> peerRequirement(std::string_view identifier);
  // The same, for a given team identifier: nothing unless it is non-empty ASCII letters and digits.
  static std::optional<std::string> peerRequirement(std::string_view identifier,
                                                    const std::optional<std::string>& teamIdentifier);
};

}  // namespace tidyloom
