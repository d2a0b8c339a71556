// Control characters in paths: a path holding one is never handed to a deletion or a shell.
#pragma once

#include <string_view>

namespace tidyloom {

// True when `text` holds a Unicode control or format character (general categories Cc and Cf, the
// platform's control-character set), or bytes that are not UTF-8 at all.
bool containsControlCharacter(std::string_view text);

}  // namespace tidyloom
