// Human output helpers.
#include "output.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include <fmt/format.h>

namespace tidyloom::cli {
namespace {

__extension__ using Wide = unsigned __int128;  // exact decimal sizes without overflow

// Decodes one UTF-8 sequence at `i`; returns the code point and advances `i` (invalid bytes count as one).
char32_t decode(std::string_view text, size_t& i) {
  const auto c = static_cast<unsigned char>(text[i]);
  int length = c < 0x80 ? 1 : (c >> 5) == 0x6 ? 2 : (c >> 4) == 0xE ? 3 : (c >> 3) == 0x1E ? 4 : 1;
  if (i + static_cast<size_t>(length) > text.size()) length = 1;
  char32_t cp = length == 1 ? c : length == 2 ? (c & 0x1F) : length == 3 ? (c & 0x0F) : (c & 0x07);
  for (int k = 1; k < length; ++k)
    cp = (cp << 6) | (static_cast<unsigned char>(text[i + static_cast<size_t>(k)]) & 0x3F);
  i += static_cast<size_t>(length);
  return cp;
}

int widthOf(char32_t cp) {
  if (cp == 0) return 0;
  if ((cp >= 0x0300 && cp <= 0x036F) || (cp >= 0x200B && cp <= 0x200F) || cp == 0xFE0F) return 0;
  const bool wide = (cp >= 0x1100 && cp <= 0x115F) || (cp >= 0x2E80 && cp <= 0xA4CF) ||
                    (cp >= 0xAC00 && cp <= 0xD7A3) || (cp >= 0xF900 && cp <= 0xFAFF) ||
                    (cp >= 0xFE30 && cp <= 0xFE4F) || (cp >= 0xFF00 && cp <= 0xFF60) ||
                    (cp >= 0xFFE0 && cp <= 0xFFE6) || (cp >= 0x1F300 && cp <= 0x1F64F) ||
                    (cp >= 0x1F900 && cp <= 0x1F9FF) || (cp >= 0x20000 && cp <= 0x3FFFD);
  return wide ? 2 : 1;
}

}  // namespace

std::string formatBytes(std::uint64_t bytes) {
  if (bytes < 1000) return fmt::format("{} bytes", bytes);
  static constexpr const char* kUnits[] = {"kB", "MB", "GB", "TB", "PB", "EB"};
  double value = static_cast<double>(bytes) / 1000.0;
  size_t unit = 0;
  while (value >= 999.95 && unit + 1 < std::size(kUnits)) {
    value /= 1000.0;
    ++unit;
  }
  return fmt::format("{:.1f} {}", value, kUnits[unit]);
}

std::optional<std::uint64_t> parseSize(std::string_view text) {
  size_t i = 0;
  Wide whole = 0;
  Wide fraction = 0;
  Wide scale = 1;
  bool any = false;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i, any = true) {
    whole = whole * 10 + static_cast<unsigned>(text[i] - '0');
    if (whole > UINT64_MAX) return std::nullopt;
  }
  if (i < text.size() && text[i] == '.') {
    for (++i; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i, any = true) {
      if (scale < 1000000000000ULL) {
        fraction = fraction * 10 + static_cast<unsigned>(text[i] - '0');
        scale *= 10;
      }
    }
  }
  if (!any) return std::nullopt;
  std::string unit(text.substr(i));
  for (auto& c : unit) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (unit.size() == 2 && unit[1] == 'B') unit.pop_back();
  Wide multiplier = 1;
  if (unit.empty() || unit == "B") {
    multiplier = 1;
  } else if (unit.size() == 1) {
    const std::string_view units = "KMGTPE";
    const size_t power = units.find(unit[0]);
    if (power == std::string_view::npos) return std::nullopt;
    for (size_t k = 0; k <= power; ++k) multiplier *= 1000;
  } else {
    return std::nullopt;
  }
  const Wide total = whole * multiplier + fraction * multiplier / scale;
  if (total > UINT64_MAX) return std::nullopt;
  return static_cast<std::uint64_t>(total);
}

size_t displayWidth(std::string_view text) {
  size_t width = 0;
  for (size_t i = 0; i < text.size();) width += static_cast<size_t>(widthOf(decode(text, i)));
  return width;
}

std::string truncateToWidth(const std::string& text, size_t width) {
  if (displayWidth(text) <= width) return text;
  std::string out;
  size_t used = 0;
  for (size_t i = 0; i < text.size();) {
    const size_t start = i;
    const int w = widthOf(decode(text, i));
    if (used + static_cast<size_t>(w) + 1 > width) break;
    used += static_cast<size_t>(w);
    out.append(text, start, i - start);
  }
  return out + "…";
}

bool hasControlCharacter(std::string_view text) {
  for (const char c : text) {
    const auto u = static_cast<unsigned char>(c);
    if (u < 0x20 || u == 0x7F) return true;
  }
  return false;
}

std::string printablePath(std::string_view path) {
  std::string out;
  for (const char c : path) {
    const auto u = static_cast<unsigned char>(c);
    if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c == '\r') {
      out += "\\r";
    } else if (u < 0x20 || u == 0x7F) {
      out += fmt::format("\\x{:02x}", u);
    } else {
      out += c;
    }
  }
  return out;
}

std::string paint(const std::string& text, Colour colour) {
  static const bool enabled = ::isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr;
  if (!enabled || colour == Colour::none) return text;
  const char* code = colour == Colour::red      ? "31"
                     : colour == Colour::green  ? "32"
                     : colour == Colour::yellow ? "33"
                     : colour == Colour::dim    ? "2"
                                                : "1";
  return fmt::format("\033[{}m{}\033[0m", code, text);
}

std::string alignedPairs(const std::vector<std::pair<std::string, std::string>>& rows) {
  size_t width = 0;
  for (const auto& [label, value] : rows) width = std::max(width, displayWidth(label));
  std::string out;
  for (const auto& [label, value] : rows) {
    out += paint(label, Colour::dim) + std::string(width - displayWidth(label) + 2, ' ') + value + '\n';
  }
  return out;
}

Table::Table(std::vector<std::string> headers, std::vector<Align> aligns)
    : headers_(std::move(headers)), aligns_(std::move(aligns)) {
  aligns_.resize(headers_.size(), Align::left);
}

void Table::add(std::vector<std::string> row) {
  row.resize(headers_.size());
  rows_.push_back(std::move(row));
}

std::string Table::render() const {
  std::vector<size_t> widths(headers_.size(), 0);
  for (size_t c = 0; c < headers_.size(); ++c) widths[c] = displayWidth(headers_[c]);
  for (const auto& row : rows_) {
    for (size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], displayWidth(row[c]));
  }
  std::string out;
  auto line = [&](const std::vector<std::string>& cells, bool header) {
    std::string text;
    for (size_t c = 0; c < cells.size(); ++c) {
      const std::string pad(widths[c] - displayWidth(cells[c]), ' ');
      const bool last = c + 1 == cells.size();
      if (aligns_[c] == Align::right) {
        text += pad + cells[c];
      } else {
        text += cells[c] + (last ? "" : pad);
      }
      if (!last) text += "  ";
    }
    out += header ? paint(text, Colour::bold) : text;
    out += '\n';
  };
  line(headers_, true);
  for (const auto& row : rows_) line(row, false);
  return out;
}

}  // namespace tidyloom::cli
