// Strict ISO 8601 formatting and parsing on the civil calendar of <chrono>.
#include "core/iso8601.h"

#include <fmt/format.h>

namespace tidyloom {
namespace {

bool digits(std::string_view text, size_t at, size_t count, int& out) {
  out = 0;
  for (size_t i = at; i < at + count; ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
    out = out * 10 + (text[i] - '0');
  }
  return true;
}

}  // namespace

std::string formatISO8601(SystemTime time) {
  using namespace std::chrono;
  const auto day = floor<days>(time);
  const year_month_day ymd{day};
  const hh_mm_ss hms{time - day};
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(ymd.year()),
                     static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()), hms.hours().count(),
                     hms.minutes().count(), static_cast<long>(hms.seconds().count()));
}

std::optional<SystemTime> parseISO8601(std::string_view text) {
  using namespace std::chrono;
  if (text.size() != 20 || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' || text[16] != ':' ||
      text[19] != 'Z') {
    return std::nullopt;
  }
  int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
  if (!digits(text, 0, 4, y) || !digits(text, 5, 2, mo) || !digits(text, 8, 2, d) || !digits(text, 11, 2, h) ||
      !digits(text, 14, 2, mi) || !digits(text, 17, 2, s)) {
    return std::nullopt;
  }
  const year_month_day ymd{year{y}, month{static_cast<unsigned>(mo)}, day{static_cast<unsigned>(d)}};
  if (!ymd.ok() || h > 23 || mi > 59 || s > 59) return std::nullopt;
  return SystemTime{sys_days{ymd}.time_since_epoch() + hours{h} + minutes{mi} + seconds{s}};
}

SystemTime nowSeconds() { return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()); }

}  // namespace tidyloom
