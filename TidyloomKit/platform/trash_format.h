// The freedesktop.org Trash's file formats: the .trashinfo file and the directorysizes cache,
// with the percent-encoding both use. Pure text functions, the same on every platform.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tidyloom::platform {

// RFC 2396 escaping as the Trash info files use it: "/" and unreserved characters stay.
std::string percentEncoded(std::string_view path);
// The reverse; a "%" not followed by two hexadecimal digits is kept as it is.
std::string percentDecoded(std::string_view text);

struct TrashInfo {
  std::string path;          // decoded; absolute for the home trash, relative to the top directory elsewhere
  std::string deletionDate;  // local time, "YYYY-MM-DDThh:mm:ss"
};
std::string encodeTrashInfo(const TrashInfo& info);
// The "[Trash Info]" group's Path and DeletionDate; nothing when the group or Path is missing,
// the path is empty or holds a NUL, or the date is not of that form.
std::optional<TrashInfo> parseTrashInfo(std::string_view text);

// One line of "directorysizes": "<bytes> <mtime seconds> <percent-encoded name>".
struct DirectorySizeEntry {
  std::uint64_t bytes = 0;
  std::int64_t mtime = 0;
  std::string name;  // decoded
};
std::optional<DirectorySizeEntry> parseDirectorySizeLine(std::string_view line);
std::string encodeDirectorySizeLine(const DirectorySizeEntry& entry);

}  // namespace tidyloom::platform
