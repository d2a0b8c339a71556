// Random (version 4) UUIDs in upper-case canonical form.
#pragma once

#include <string>
#include <string_view>

namespace tidyloom {

std::string makeUUID();
// True for "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX" with upper-case hexadecimal digits only.
bool isCanonicalUUID(std::string_view text);

}  // namespace tidyloom
