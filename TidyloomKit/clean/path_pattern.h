// Expansion of the rule file's relative path patterns ("Library/Caches/*", "*/Cache") in the home.
#pragma once

#include <filesystem>
#include <string_view>
#include <vector>

namespace tidyloom {

// Every existing path under `home` that the pattern names. "*" matches any run of characters within
// one component; an entry whose name starts with "." matches only a component that does too; a
// symbolic link is never matched nor gone through. Unreadable folders are skipped silently. Empty for
// a pattern with no components, a leading "/", or a "." or ".." component.
std::vector<std::filesystem::path> expandRelativePathPattern(std::string_view pattern,
                                                             const std::filesystem::path& home);

}  // namespace tidyloom
