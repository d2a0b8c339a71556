// Fuzz target: the property-list reader (XML and binary).
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/property_list.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  (void)tidyloom::propertyListString(std::string_view(reinterpret_cast<const char*>(data), size), "CFBundleIdentifier");
  return 0;
}
