// Host identity on Linux.
#include "platform/host.h"

namespace tidyloom::platform {

bool hostIsDarwin() { return false; }

}  // namespace tidyloom::platform
