// Parses the embedded catalogue files: one message per line, "source<TAB>english"; "\t", "\n" and
// "\\" are escapes; lines starting with "#" are comments.
#include "l10n/catalogue.h"

#include <deque>
#include <string>

namespace tidyloom::embedded {
std::string_view catalogueFile(std::string_view name);
std::string_view catalogueFileList();
}  // namespace tidyloom::embedded

namespace tidyloom::l10n {
namespace {

std::string unescape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 1 < text.size()) {
      const char c = text[++i];
      out += c == 't' ? '\t' : c == 'n' ? '\n' : c;
    } else {
      out += text[i];
    }
  }
  return out;
}

}  // namespace

std::unordered_map<std::string_view, std::string_view> englishCatalogue() {
  static std::deque<std::string> storage;  // stable addresses for the views
  std::unordered_map<std::string_view, std::string_view> table;
  std::string_view files = embedded::catalogueFileList();
  while (!files.empty()) {
    const size_t end = files.find(';');
    const std::string_view name = files.substr(0, end);
    files = end == std::string_view::npos ? std::string_view{} : files.substr(end + 1);
    std::string_view data = embedded::catalogueFile(name);
    while (!data.empty()) {
      const size_t eol = data.find('\n');
      const std::string_view line = data.substr(0, eol);
      data = eol == std::string_view::npos ? std::string_view{} : data.substr(eol + 1);
      if (line.empty() || line.front() == '#') continue;
      const size_t tab = line.find('\t');
      if (tab == std::string_view::npos) continue;
      const std::string& source = storage.emplace_back(unescape(line.substr(0, tab)));
      const std::string& english = storage.emplace_back(unescape(line.substr(tab + 1)));
      table.emplace(source, english);
    }
  }
  return table;
}

}  // namespace tidyloom::l10n
