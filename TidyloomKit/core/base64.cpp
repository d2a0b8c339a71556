// Base64 through OpenSSL's block coder.
#include "core/base64.h"

#include <openssl/evp.h>

namespace tidyloom {

std::string base64Encode(std::string_view bytes) {
  std::string out(4 * ((bytes.size() + 2) / 3), '\0');
  const int written =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                      reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
  out.resize(static_cast<size_t>(written));
  return out;
}

std::optional<std::string> base64Decode(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  if (text.empty()) return std::string{};
  std::string out(text.size() / 4 * 3, '\0');
  const int written =
      EVP_DecodeBlock(reinterpret_cast<unsigned char*>(out.data()), reinterpret_cast<const unsigned char*>(text.data()),
                      static_cast<int>(text.size()));
  if (written < 0) return std::nullopt;
  // EVP_DecodeBlock keeps the padding bytes as zeros; drop one per "=".
  size_t length = static_cast<size_t>(written);
  for (size_t i = text.size(); i > 0 && text[i - 1] == '='; --i) --length;
  out.resize(length);
  return out;
}

}  // namespace tidyloom
