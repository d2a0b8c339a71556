// Local time formatting through the C library, which honours TZ and the system zone.
#include "local_time.h"

#include <ctime>

namespace tidyloom::cli {

std::string formatLocalTime(std::chrono::system_clock::time_point time, const char* format) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm local{};
  if (::localtime_r(&seconds, &local) == nullptr) return {};
  char buffer[64];
  const std::size_t length = std::strftime(buffer, sizeof buffer, format, &local);
  return std::string(buffer, length);
}

}  // namespace tidyloom::cli
