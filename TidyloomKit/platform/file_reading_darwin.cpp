// macOS: reads do not move the access date that the file browser shows as "last opened".
#include <fcntl.h>

#include "platform/file_reading.h"

namespace tidyloom::platform {

int openForContentRead(const char* path) { return ::open(path, O_RDONLY | O_NOFOLLOW | O_CLOEXEC); }

}  // namespace tidyloom::platform
