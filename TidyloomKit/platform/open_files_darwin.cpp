// Open files on macOS: deleting a file that a process holds open is harmless there (the process
// keeps its descriptor and the space is freed when it closes), so nothing is held back.
#include "platform/open_files.h"

namespace tidyloom::platform {

OpenState regularFileOpenState(const std::string& /*path*/) { return OpenState::closed; }

std::optional<OpenFileTable> openFileTable() { return OpenFileTable{}; }

}  // namespace tidyloom::platform
