// Where the front end, the daemon and its units sit in one installation, and which front end it trusts.
#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "platform/peer_identity.h"

namespace tidyloom::platform {

// The socket the daemon's socket unit listens on.
inline constexpr std::string_view kHelperSocketPath = "/run/tidyloom-helper.sock";
inline constexpr std::string_view kHelperSocketUnit = "tidyloom-helper.socket";
inline constexpr std::string_view kHelperServiceUnit = "tidyloom-helper.service";

struct HelperInstallation {
  std::filesystem::path prefix;

  std::filesystem::path frontEnd() const;     // PREFIX/bin/tidyloom
  std::filesystem::path daemon() const;       // PREFIX/libexec/tidyloom/TidyloomHelper
  std::filesystem::path socketUnit() const;   // PREFIX/lib/systemd/system/tidyloom-helper.socket
  std::filesystem::path serviceUnit() const;  // PREFIX/lib/systemd/system/tidyloom-helper.service

  // The installation that holds the front end or the daemon at `executable` (whether or not it is one).
  static HelperInstallation ofFrontEnd(const std::filesystem::path& executable);
  static HelperInstallation ofDaemon(const std::filesystem::path& executable);

  // The front end this installation's daemon talks to: only when both the daemon and the front end
  // are root-owned files of a root-owned installation. A development build gets nothing.
  std::optional<FileIdentity> trustedFrontEnd() const;
  // True when the front end at `executable` is this installation's trusted front end and the
  // installation also holds a trusted daemon.
  bool trustsFrontEnd(const std::filesystem::path& executable) const;
};

}  // namespace tidyloom::platform
