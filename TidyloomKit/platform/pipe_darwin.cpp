// macOS has no pipe2: set close-on-exec right after creating the pipe.
#include <fcntl.h>
#include <unistd.h>

#include "platform/pipe.h"

namespace tidyloom::platform {

bool openCloseOnExecPipe(int fds[2]) {
  if (::pipe(fds) != 0) return false;
  (void)::fcntl(fds[0], F_SETFD, FD_CLOEXEC);
  (void)::fcntl(fds[1], F_SETFD, FD_CLOEXEC);
  return true;
}

}  // namespace tidyloom::platform
