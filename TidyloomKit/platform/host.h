// Which operating system this build runs on, for the few choices of data (not code) that depend on it.
#pragma once

namespace tidyloom::platform {

bool hostIsDarwin();

}  // namespace tidyloom::platform
