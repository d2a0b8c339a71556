// Bookmarks of user-chosen folders that survive renames and sandbox relaunches (macOS); other
// platforms have none and remember plain paths instead.
#pragma once

#include <optional>
#include <string>

namespace tidyloom::platform {

// Opaque bookmark bytes for `path`: security-scoped when possible, else a plain bookmark; none
// when the platform has no bookmarks or both attempts fail.
std::optional<std::string> makeFolderBookmark(const std::string& path);
// The path a bookmark resolves to now (security scope first, then plain; never any interface).
std::optional<std::string> resolveFolderBookmark(const std::string& bookmark);

}  // namespace tidyloom::platform
