// The Trash's text formats: percent-encoding, .trashinfo files and directorysizes lines.
#include "platform/trash_format.h"

#include <charconv>
#include <sstream>

namespace tidyloom::platform {
namespace {

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool isDate(std::string_view text) {
  // YYYY-MM-DDThh:mm:ss
  if (text.size() != 19) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool ok = i == 4 || i == 7     ? c == '-'
                    : i == 10            ? c == 'T'
                    : i == 13 || i == 16 ? c == ':'
                                         : c >= '0' && c <= '9';
    if (!ok) return false;
  }
  return true;
}

}  // namespace

std::string percentEncoded(std::string_view path) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (const unsigned char c : path) {
    const bool plain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '/' ||
                       c == '-' || c == '_' || c == '.' || c == '~';
    if (plain) {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  return out;
}

std::string percentDecoded(std::string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      const int high = hexValue(text[i + 1]), low = hexValue(text[i + 2]);
      if (high >= 0 && low >= 0) {
        out += static_cast<char>(high * 16 + low);
        i += 2;
        continue;
      }
    }
    out += text[i];
  }
  return out;
}

std::string encodeTrashInfo(const TrashInfo& info) {
  return "[Trash Info]\nPath=" + percentEncoded(info.path) + "\nDeletionDate=" + info.deletionDate + "\n";
}

std::optional<TrashInfo> parseTrashInfo(std::string_view text) {
  std::istringstream lines{std::string(text)};
  bool inGroup = false, sawGroup = false;
  std::optional<std::string> path, date;
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line.front() == '#') continue;
    if (line.front() == '[') {
      inGroup = line == "[Trash Info]";
      sawGroup = sawGroup || inGroup;
      continue;
    }
    if (!inGroup) continue;
    const auto equals = line.find('=');
    if (equals == std::string::npos) continue;
    const std::string key = line.substr(0, equals), value = line.substr(equals + 1);
    // The first of each key counts, as in desktop entry files.
    if (key == "Path" && !path) path = percentDecoded(value);
    if (key == "DeletionDate" && !date) date = value;
  }
  if (!sawGroup || !path || path->empty() || path->find('\0') != std::string::npos) return std::nullopt;
  if (!date || !isDate(*date)) return std::nullopt;
  return TrashInfo{*path, *date};
}

std::optional<DirectorySizeEntry> parseDirectorySizeLine(std::string_view line) {
  const auto first = line.find(' ');
  if (first == std::string_view::npos) return std::nullopt;
  const auto second = line.find(' ', first + 1);
  if (second == std::string_view::npos || second + 1 >= line.size()) return std::nullopt;
  DirectorySizeEntry entry;
  const auto bytes = std::from_chars(line.data(), line.data() + first, entry.bytes);
  const auto mtime = std::from_chars(line.data() + first + 1, line.data() + second, entry.mtime);
  if (bytes.ec != std::errc() || bytes.ptr != line.data() + first) return std::nullopt;
  if (mtime.ec != std::errc() || mtime.ptr != line.data() + second) return std::nullopt;
  const std::string_view encoded = line.substr(second + 1);
  if (encoded.find(' ') != std::string_view::npos) return std::nullopt;
  entry.name = percentDecoded(encoded);
  if (entry.name.empty() || entry.name.find('/') != std::string::npos || entry.name.find('\0') != std::string::npos) {
    return std::nullopt;
  }
  return entry;
}

std::string encodeDirectorySizeLine(const DirectorySizeEntry& entry) {
  return std::to_string(entry.bytes) + " " + std::to_string(entry.mtime) + " " + percentEncoded(entry.name);
}

}  // namespace tidyloom::platform
