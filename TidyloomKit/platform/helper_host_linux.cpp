// On Linux the installed front end stands for the signed build, and a root-owned socket for registration.
#include <sys/stat.h>

#include <cstdlib>

#include "platform/helper_host.h"
#include "platform/helper_installation.h"
#include "platform/peer_identity.h"

namespace tidyloom::platform {

HelperHostFacts helperHostFacts(std::string_view clientIdentifier, std::string_view /*label*/) {
  HelperHostFacts facts;
  const char* override = std::getenv("TIDYLOOM_HELPER_SOCKET");
  facts.endpoint = override && *override ? override : std::string(kHelperSocketPath);
  if (const auto executable = currentExecutable()) {
    if (HelperInstallation::ofFrontEnd(*executable).trustsFrontEnd(*executable)) {
      facts.bundleIdentifier = std::string(clientIdentifier);
    }
  }
  // systemd creates the socket as root when the socket unit is enabled and started.
  struct stat info {};
  if (::lstat(facts.endpoint.c_str(), &info) == 0) {
    facts.registration = S_ISSOCK(info.st_mode) && info.st_uid == 0 ? HelperRegistrationStatus::enabled
                                                                    : HelperRegistrationStatus::notRegistered;
  } else {
    facts.registration = HelperRegistrationStatus::notRegistered;
  }
  return facts;
}

}  // namespace tidyloom::platform
