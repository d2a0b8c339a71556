// What the platforms share: the host name, parsers of `ps` output and /proc stat lines, the pcpu formula.
#include <unistd.h>

#include <array>
#include <charconv>
#include <cmath>
#include <string>

#include "platform/system_info.h"

namespace tidyloom::platform {
namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v'; }

std::string_view nextField(std::string_view& rest) {
  size_t start = 0;
  while (start < rest.size() && isSpace(rest[start])) ++start;
  size_t end = start;
  while (end < rest.size() && !isSpace(rest[end])) ++end;
  const std::string_view field = rest.substr(start, end - start);
  rest.remove_prefix(end);
  return field;
}

template <typename T>
bool parseNumber(std::string_view text, T& value) {
  if (text.empty()) return false;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

// `ps` prints pcpu in the user's locale, so the decimal mark may be "." or ",". from_chars for
// floating point is missing from some C++ libraries, and strtod would follow our own locale.
bool parseDecimal(std::string_view text, double& value) {
  value = 0;
  double scale = 0;
  bool digits = false;
  for (const char c : text) {
    if (c >= '0' && c <= '9') {
      digits = true;
      if (scale == 0) {
        value = value * 10 + (c - '0');
      } else {
        value += (c - '0') * scale;
        scale /= 10;
      }
    } else if ((c == '.' || c == ',') && scale == 0) {
      scale = 0.1;
    } else {
      return false;
    }
  }
  return digits;
}

}  // namespace

std::string hostName() {
  std::array<char, 257> buffer{};
  if (::gethostname(buffer.data(), buffer.size() - 1) != 0) return {};
  return std::string(buffer.data());
}

std::size_t countPsLines(std::string_view output) {
  std::size_t count = 0;
  while (!output.empty()) {
    const size_t eol = output.find('\n');
    std::string_view line = output.substr(0, eol);
    output = eol == std::string_view::npos ? std::string_view{} : output.substr(eol + 1);
    if (!nextField(line).empty()) ++count;
  }
  return count;
}

std::vector<ProcessSample> parsePsTop(std::string_view output, std::size_t limit) {
  std::vector<ProcessSample> out;
  while (!output.empty() && out.size() < limit) {
    const size_t eol = output.find('\n');
    std::string_view rest = output.substr(0, eol);
    output = eol == std::string_view::npos ? std::string_view{} : output.substr(eol + 1);
    ProcessSample sample;
    if (!parseNumber(nextField(rest), sample.pid)) continue;
    if (!parseDecimal(nextField(rest), sample.cpu)) continue;
    while (!rest.empty() && isSpace(rest.front())) rest.remove_prefix(1);
    while (!rest.empty() && isSpace(rest.back())) rest.remove_suffix(1);
    if (rest.empty()) continue;
    sample.name = std::string(rest);
    out.push_back(std::move(sample));
  }
  return out;
}

std::optional<ProcStat> parseProcStat(std::string_view line) {
  // The name may itself hold spaces and parentheses, so it runs to the last ")".
  const size_t open = line.find('(');
  const size_t close = line.rfind(')');
  if (open == std::string_view::npos || close == std::string_view::npos || close < open) return std::nullopt;
  ProcStat stat;
  stat.name = std::string(line.substr(open + 1, close - open - 1));
  std::string_view rest = line.substr(close + 1);
  // Fields after the name start at field 3 (state); utime is 14, stime 15, starttime 22.
  std::uint64_t utime = 0;
  std::uint64_t stime = 0;
  for (int field = 3; field <= 22; ++field) {
    const std::string_view value = nextField(rest);
    if (value.empty()) return std::nullopt;
    if (field == 14 && !parseNumber(value, utime)) return std::nullopt;
    if (field == 15 && !parseNumber(value, stime)) return std::nullopt;
    if (field == 22 && !parseNumber(value, stat.startTicks)) return std::nullopt;
  }
  stat.cpuTicks = utime + stime;
  return stat;
}

double lifetimeCpuPercent(std::uint64_t cpuTicks, std::uint64_t startTicks, std::uint64_t ticksPerSecond,
                          double uptimeSeconds) {
  if (ticksPerSecond == 0 || !(uptimeSeconds > 0)) return 0;
  // procps: milliseconds of CPU time over the (fractional) seconds of life, truncated to tenths.
  const double seconds = uptimeSeconds - static_cast<double>(startTicks) / static_cast<double>(ticksPerSecond);
  if (!(seconds > 0)) return 0;
  const auto tenths = std::floor(static_cast<double>(cpuTicks * 1000 / ticksPerSecond) / seconds);
  return tenths / 10.0;
}

}  // namespace tidyloom::platform
