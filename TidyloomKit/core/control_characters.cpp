// Control-character test over UTF-8 with ICU's character properties.
#include "core/control_characters.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace tidyloom {

bool containsControlCharacter(std::string_view text) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
  const auto length = static_cast<int32_t>(text.size());
  for (int32_t i = 0; i < length;) {
    UChar32 c = 0;
    U8_NEXT(bytes, i, length, c);
    if (c < 0) return true;  // undecodable bytes could hide anything
    const auto type = static_cast<UCharCategory>(u_charType(c));
    if (type == U_CONTROL_CHAR || type == U_FORMAT_CHAR) return true;
  }
  return false;
}

}  // namespace tidyloom
