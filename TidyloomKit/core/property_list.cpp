// Property lists through libplist, which reads both the XML and the binary format.
#include "core/property_list.h"

#include <plist/plist.h>

#include <cstdlib>
#include <limits>
#include <memory>
#include <type_traits>

namespace tidyloom {
namespace {

// libplist 2.3 added a format argument to plist_from_memory; Debian 12 ships 2.2. Only the call
// that fits the installed header is instantiated.
template <typename FromMemory>
plist_t parseWith(FromMemory fromMemory, std::string_view data) {
  plist_t root = nullptr;
  const auto size = static_cast<uint32_t>(data.size());
  if constexpr (std::is_invocable_v<FromMemory, const char*, uint32_t, plist_t*>) {
    fromMemory(data.data(), size, &root);
  } else {
    fromMemory(data.data(), size, &root, nullptr);
  }
  return root;
}

}  // namespace

std::optional<std::string> propertyListString(std::string_view data, const std::string& key) {
  if (data.empty() || data.size() > std::numeric_limits<uint32_t>::max()) return std::nullopt;
  const plist_t root = parseWith(plist_from_memory, data);
  if (root == nullptr) return std::nullopt;
  const std::unique_ptr<void, void (*)(plist_t)> owned(root, plist_free);
  if (plist_get_node_type(root) != PLIST_DICT) return std::nullopt;
  const plist_t node = plist_dict_get_item(root, key.c_str());
  if (node == nullptr || plist_get_node_type(node) != PLIST_STRING) return std::nullopt;
  // plist_get_string_val asserts on a string holding a NUL (which the binary format allows); the
  // pointer and length are read instead, and such a string is no identifier of ours.
  uint64_t length = 0;
  const char* value = plist_get_string_ptr(node, &length);
  if (value == nullptr) return std::nullopt;
  std::string out(value, static_cast<size_t>(length));
  if (out.find('\0') != std::string::npos) return std::nullopt;
  return out;
}

}  // namespace tidyloom
