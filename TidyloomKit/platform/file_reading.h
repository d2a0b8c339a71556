// Opening files only to read their content, so that the reading does not count as a use.
#pragma once

namespace tidyloom::platform {

// Opens `path` read-only, close-on-exec, without following a final symbolic link, and where the
// system allows it without updating the file's access date (comparing content is not using the
// file, and the finders rank copies by last use). Returns the descriptor, or -1 with errno set.
int openForContentRead(const char* path);

}  // namespace tidyloom::platform
