// A pipe whose both ends close on exec, so concurrently started children never inherit them.
#pragma once

namespace tidyloom::platform {

// Fills fds[0] (read end) and fds[1] (write end); returns false with errno set on failure.
bool openCloseOnExecPipe(int fds[2]);

}  // namespace tidyloom::platform
