// File kinds from the shared-mime-info database: globs2 names the type of an extension,
// subclasses and aliases give what it conforms to. Read once, on first use.
#include <array>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/file_kinds.h"

namespace tidyloom::platform {
namespace {

// Types that mean "archive or disk image"; their subclasses conform too.
constexpr std::array kArchiveTypes{
    "application/zip",
    "application/x-tar",
    "application/gzip",
    "application/x-bzip",
    "application/x-xz",
    "application/x-lzma",
    "application/zstd",
    "application/x-7z-compressed",
    "application/vnd.rar",
    "application/x-cpio",
    "application/x-archive",
    "application/x-compress",
    "application/x-lzip",
    "application/x-lz4",
    "application/x-arj",
    "application/x-lha",
    "application/x-stuffit",
    "application/vnd.ms-cab-compressed",
    "application/x-xar",
    "application/x-rpm",
    "application/vnd.debian.binary-package",
    "application/x-lrzip",
    "application/x-lzop",
    "application/x-raw-disk-image",
    "application/x-apple-diskimage",
    "application/x-cd-image",
};

// PDF, presentations, spreadsheets, EPUB and RTF.
constexpr std::array kDocumentTypes{
    "application/pdf",
    "application/epub+zip",
    "application/rtf",
    "text/rtf",
    "application/vnd.oasis.opendocument.presentation",
    "application/vnd.oasis.opendocument.presentation-template",
    "application/vnd.oasis.opendocument.spreadsheet",
    "application/vnd.oasis.opendocument.spreadsheet-template",
    "application/vnd.ms-powerpoint",
    "application/vnd.ms-excel",
    "application/vnd.openxmlformats-officedocument.presentationml.presentation",
    "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet",
    "application/vnd.apple.keynote",
    "application/vnd.apple.numbers",
    "application/x-gnumeric",
    "application/vnd.sun.xml.calc",
    "application/vnd.sun.xml.impress",
};

struct Glob {
  int weight = -1;
  std::string type;
};

class MimeDatabase {
 public:
  MimeDatabase() {
    // Highest precedence first: $XDG_DATA_HOME, then each of $XDG_DATA_DIRS.
    for (const auto& dir : dataDirectories()) {
      readGlobs(dir + "/mime/globs2");
      readPairs(dir + "/mime/aliases", aliases_);
      readSubclasses(dir + "/mime/subclasses");
    }
  }

  std::optional<TypeConformance> conformance(const std::string& extension) const {
    const auto found = globs_.find(extension);
    if (found == globs_.end()) return std::nullopt;
    TypeConformance result;
    std::unordered_set<std::string> seen;
    std::vector<std::string> pending{canonical(found->second.type)};
    while (!pending.empty()) {
      const std::string type = std::move(pending.back());
      pending.pop_back();
      if (!seen.insert(type).second) continue;
      classify(type, result);
      const auto [first, last] = parents_.equal_range(type);
      for (auto it = first; it != last; ++it) pending.push_back(canonical(it->second));
    }
    return result;
  }

 private:
  static std::vector<std::string> dataDirectories() {
    std::vector<std::string> dirs;
    const char* dataHome = std::getenv("XDG_DATA_HOME");
    const char* home = std::getenv("HOME");
    if (dataHome && *dataHome) {
      dirs.emplace_back(dataHome);
    } else if (home && *home) {
      dirs.push_back(std::string(home) + "/.local/share");
    }
    const char* dataDirs = std::getenv("XDG_DATA_DIRS");
    std::string list = dataDirs && *dataDirs ? dataDirs : "/usr/local/share:/usr/share";
    for (size_t start = 0; start <= list.size();) {
      const size_t end = std::min(list.find(':', start), list.size());
      if (end > start) dirs.push_back(list.substr(start, end - start));
      start = end + 1;
    }
    return dirs;
  }

  static std::string lower(std::string text) {
    for (char& c : text) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
  }

  // Lines are "weight:type:glob[:flags]"; only plain "*.ext" globs name an extension.
  void readGlobs(const std::string& file) {
    std::ifstream in(file);
    std::string line;
    while (std::getline(in, line)) {
      if (line.empty() || line[0] == '#') continue;
      const size_t a = line.find(':');
      const size_t b = a == std::string::npos ? a : line.find(':', a + 1);
      if (b == std::string::npos) continue;
      const size_t c = line.find(':', b + 1);
      std::string glob = line.substr(b + 1, c == std::string::npos ? std::string::npos : c - b - 1);
      const bool caseSensitive = c != std::string::npos && line.find("cs", c) != std::string::npos;
      if (glob.size() < 3 || glob[0] != '*' || glob[1] != '.') continue;
      std::string extension = glob.substr(2);
      if (extension.find_first_of("*?[.") != std::string::npos) continue;
      if (caseSensitive && lower(extension) != extension) continue;  // we only ever ask lower case
      extension = lower(extension);
      const int weight = std::atoi(line.substr(0, a).c_str());
      Glob& slot = globs_[extension];
      if (weight > slot.weight) slot = {weight, line.substr(a + 1, b - a - 1)};
    }
  }

  static void readPairs(const std::string& file, std::unordered_map<std::string, std::string>& into) {
    std::ifstream in(file);
    std::string from, to;
    while (in >> from >> to) into.emplace(from, to);
  }

  void readSubclasses(const std::string& file) {
    std::ifstream in(file);
    std::string child, parent;
    while (in >> child >> parent) parents_.emplace(child, parent);
  }

  std::string canonical(const std::string& type) const {
    const auto found = aliases_.find(type);
    return found == aliases_.end() ? type : found->second;
  }

  static void classify(const std::string& type, TypeConformance& result) {
    const auto in = [&](const auto& list) {
      for (const char* member : list) {
        if (type == member) return true;
      }
      return false;
    };
    result.archive = result.archive || in(kArchiveTypes);
    result.document = result.document || in(kDocumentTypes);
    result.image = result.image || type.starts_with("image/");
    result.audio = result.audio || type.starts_with("audio/");
    result.movie = result.movie || type.starts_with("video/");
  }

  std::unordered_map<std::string, Glob> globs_;
  std::unordered_map<std::string, std::string> aliases_;
  std::unordered_multimap<std::string, std::string> parents_;
};

}  // namespace

std::optional<TypeConformance> typeConformance(std::string_view lowercaseExtension) {
  static const MimeDatabase database;
  return database.conformance(std::string(lowercaseExtension));
}

}  // namespace tidyloom::platform
