// Relative-size bars drawn with block characters.
#include "size_bar.h"

#include <fmt/format.h>

namespace tidyloom::cli {

std::string sizeBar(std::uint64_t part, std::uint64_t whole, int width) {
  static constexpr const char* kEighths[] = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
  const double fraction = whole == 0 ? 0.0 : static_cast<double>(part) / static_cast<double>(whole);
  const int eighths = static_cast<int>(fraction * width * 8 + 0.5);
  std::string bar;
  int cells = 0;
  for (; cells < eighths / 8 && cells < width; ++cells) bar += "█";
  if (cells < width && eighths % 8 != 0) {
    bar += kEighths[eighths % 8];
    ++cells;
  }
  for (; cells < width; ++cells) bar += " ";
  return bar;
}

std::string sizeShare(std::uint64_t part, std::uint64_t whole) {
  if (whole == 0) return "0%";
  const double percent = 100.0 * static_cast<double>(part) / static_cast<double>(whole);
  return percent >= 10 || percent == 0 ? fmt::format("{:.0f}%", percent) : fmt::format("{:.1f}%", percent);
}

}  // namespace tidyloom::cli
