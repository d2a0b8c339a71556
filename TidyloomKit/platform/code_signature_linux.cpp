// Linux executables carry no code signature; the helper's peer check uses the installation instead.
#include "platform/code_signature.h"

namespace tidyloom::platform {

std::optional<std::string> ownTeamIdentifier() { return std::nullopt; }

}  // namespace tidyloom::platform
