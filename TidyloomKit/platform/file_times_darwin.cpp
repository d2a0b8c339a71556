// macOS stat timestamps (st_mtimespec).
#include "platform/file_times.h"

namespace tidyloom::platform {

std::int64_t modificationNanoseconds(const struct stat& info) {
  return static_cast<std::int64_t>(info.st_mtimespec.tv_sec) * 1'000'000'000 +
         static_cast<std::int64_t>(info.st_mtimespec.tv_nsec);
}

}  // namespace tidyloom::platform
