// Linux sets close-on-exec atomically with pipe2.
#include <fcntl.h>
#include <unistd.h>

#include "platform/pipe.h"

namespace tidyloom::platform {

bool openCloseOnExecPipe(int fds[2]) { return ::pipe2(fds, O_CLOEXEC) == 0; }

}  // namespace tidyloom::platform
