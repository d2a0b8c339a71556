// Dates for people: a moment shown in the user's local time zone.
#pragma once

#include <chrono>
#include <string>

namespace tidyloom::cli {

// `format` as for strftime ("%Y-%m-%d %H:%M"); empty when the moment cannot be shown.
std::string formatLocalTime(std::chrono::system_clock::time_point time, const char* format);

}  // namespace tidyloom::cli
