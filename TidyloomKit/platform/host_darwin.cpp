// Host identity on macOS.
#include "platform/host.h"

namespace tidyloom::platform {

bool hostIsDarwin() { return true; }

}  // namespace tidyloom::platform
