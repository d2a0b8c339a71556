// Fuzz target: the rule file decoder. Only its documented errors may come out of it.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "clean/clean_targets_store.h"
#include "core/engine_error.h"

using namespace tidyloom;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    (void)CleanTargetsStore::decode(std::string_view(reinterpret_cast<const char*>(data), size));
  } catch (const CleanTargetsStore::DecodingError&) {
  } catch (const CleanTargetsStore::LoadError&) {
  }
  return 0;
}
