// Linux has no folder bookmarks: the scan-folder store keeps plain paths.
#include "platform/folder_bookmark.h"

namespace tidyloom::platform {

std::optional<std::string> makeFolderBookmark(const std::string& /*path*/) { return std::nullopt; }

std::optional<std::string> resolveFolderBookmark(const std::string& /*bookmark*/) { return std::nullopt; }

}  // namespace tidyloom::platform
