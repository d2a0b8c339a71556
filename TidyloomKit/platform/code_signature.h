// The process's own code signature (macOS); Linux builds carry none.
#pragma once

#include <optional>
#include <string>

namespace tidyloom::platform {

// The team identifier of the running process's signature; nothing when unsigned, ad-hoc or unknown.
std::optional<std::string> ownTeamIdentifier();

}  // namespace tidyloom::platform
