// Remembered scan folders as JSON records in the user defaults.
#include "analysis/scan_folder_store.h"

#include <openssl/evp.h>

#include <nlohmann/json.hpp>

#include "analysis/space_lens_scanner.h"
#include "platform/folder_bookmark.h"

namespace tidyloom {
namespace {

// Bookmark bytes are kept as base64 text, as JSON encoders write binary data.
std::string base64Encode(const std::string& bytes) {
  std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');
  const int length =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                      reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
  text.resize(static_cast<size_t>(length));
  return text;
}

std::optional<std::string> base64Decode(const std::string& text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::string bytes(3 * (text.size() / 4) + 1, '\0');
  const int length =
      EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                      reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
  if (length < 0) return std::nullopt;
  // EVP_DecodeBlock keeps the zero bytes that stand for the padding.
  size_t padding = 0;
  for (auto it = text.rbegin(); it != text.rend() && *it == '=' && padding < 2; ++it) ++padding;
  bytes.resize(static_cast<size_t>(length) - padding);
  return bytes;
}

}  // namespace

void ScanFolderStore::save(const std::filesystem::path& url, const std::string& featureKey) const {
  const std::string path = standardisedPath(url);
  const auto bookmark = platform::makeFolderBookmark(path);
  nlohmann::json record{{"path", path}, {"bookmark", nullptr}};
  if (bookmark) record["bookmark"] = base64Encode(*bookmark);
  defaults.set(key(featureKey), record);
}

std::optional<std::filesystem::path> ScanFolderStore::load(const std::string& featureKey) const {
  const auto stored = defaults.value(key(featureKey));
  if (!stored || !stored->is_object()) return std::nullopt;
  const auto path = stored->find("path");
  if (path == stored->end() || !path->is_string()) return std::nullopt;
  const auto bookmark = stored->find("bookmark");
  if (bookmark != stored->end() && bookmark->is_string()) {
    if (const auto bytes = base64Decode(bookmark->get<std::string>())) {
      if (const auto resolved = platform::resolveFolderBookmark(*bytes)) return standardisedPath(*resolved);
    }
  }
  std::error_code ec;
  const std::filesystem::path fallback(path->get<std::string>());
  if (!std::filesystem::exists(fallback, ec)) return std::nullopt;
  return standardisedPath(fallback);
}

}  // namespace tidyloom
