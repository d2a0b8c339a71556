// Human output: decimal sizes, aligned tables, colour on terminals, escaping of odd paths.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tidyloom::cli {

// Decimal units as the platform's file browser counts: "999 bytes", "1.2 kB", "3.4 MB".
std::string formatBytes(std::uint64_t bytes);
// Parses SIZE: plain bytes or a decimal unit ("100M", "1.5G", "512K", "2GB", "10kB").
std::optional<std::uint64_t> parseSize(std::string_view text);

// Terminal display width of UTF-8 text (wide characters count two).
size_t displayWidth(std::string_view text);
std::string truncateToWidth(const std::string& text, size_t width);
// Shows control characters as escapes ("\n", "\x1b") so a path can never move the cursor.
std::string printablePath(std::string_view path);
bool hasControlCharacter(std::string_view text);

enum class Colour { none, red, green, yellow, dim, bold };
// Colour only when standard output is a terminal and NO_COLOR is not set.
std::string paint(const std::string& text, Colour colour);

// "label  value" lines with the values lined up, for short summaries.
std::string alignedPairs(const std::vector<std::pair<std::string, std::string>>& rows);

class Table {
 public:
  enum class Align { left, right };
  explicit Table(std::vector<std::string> headers, std::vector<Align> aligns = {});
  void add(std::vector<std::string> row);
  std::string render() const;
  bool empty() const { return rows_.empty(); }

 private:
  std::vector<std::string> headers_;
  std::vector<Align> aligns_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace tidyloom::cli
