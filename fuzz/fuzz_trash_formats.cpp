// Fuzz target: the Trash's .trashinfo and directorysizes parsers and their percent-encoding.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/trash_format.h"

using namespace tidyloom::platform;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (const auto info = parseTrashInfo(text)) {
    // What is read is written back so that it reads the same.
    const auto again = parseTrashInfo(encodeTrashInfo(*info));
    if (!again || again->path != info->path || again->deletionDate != info->deletionDate) __builtin_trap();
  }
  if (const auto entry = parseDirectorySizeLine(text)) {
    const auto again = parseDirectorySizeLine(encodeDirectorySizeLine(*entry));
    if (!again || again->name != entry->name || again->bytes != entry->bytes) __builtin_trap();
  }
  if (percentDecoded(percentEncoded(text)) != text) __builtin_trap();
  return 0;
}
