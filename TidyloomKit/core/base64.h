// Standard base64 (RFC 4648, with padding) for the helper reply and the administrator shell protocol.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tidyloom {

std::string base64Encode(std::string_view bytes);
// Nothing when `text` is not valid padded base64.
std::optional<std::string> base64Decode(std::string_view text);

}  // namespace tidyloom
