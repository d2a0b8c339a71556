// The freedesktop.org Trash's records kept by descriptor: the folder-size cache. Shared by the
// move into a Trash and by the clean-up after an item left it.
#pragma once

#include <optional>
#include <string>

#include "core/unique_fd.h"
#include "platform/trash_format.h"

namespace tidyloom::platform {

// The Trash code's descriptors are the project's one owner type.
using Fd = UniqueFd;

// Writes all of `data`, going on after interruptions; false on any error.
bool writeAll(int fd, const std::string& data);
// Reads to the end; what could be read.
std::string readAll(int fd);

// Rewrites "directorysizes" in the Trash folder `rootFd` in one step: lines of items no longer in
// `filesFd` go, and so does the line of `drop`; `add`, when given, is appended. Best effort: the
// cache is only a speed-up for file browsers.
void rewriteDirectorySizes(int rootFd, int filesFd, const std::string& drop,
                           const std::optional<DirectorySizeEntry>& add);

}  // namespace tidyloom::platform
