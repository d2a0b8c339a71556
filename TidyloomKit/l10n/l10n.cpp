// The translation layer over the catalogue compiled into the binary.
#include "l10n/l10n.h"

#include <atomic>
#include <cstdlib>
#include <string>
#include <unordered_map>

#include "l10n/catalogue.h"

namespace tidyloom {
namespace {

std::atomic<AppLanguage> gLanguage{AppLanguage::system};

AppLanguage resolve(AppLanguage language) {
  if (language != AppLanguage::system) return language;
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value && *value) return languageForLocale(value);
  }
  return AppLanguage::english;
}

}  // namespace

std::string L10n::format(std::string_view pattern, std::initializer_list<std::string_view> arguments) {
  std::string out;
  out.reserve(pattern.size() + 32);
  auto next = arguments.begin();
  for (size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == '%' && i + 1 < pattern.size()) {
      if (pattern[i + 1] == '@') {
        if (next != arguments.end()) out += *next++;
        ++i;
        continue;
      }
      if (pattern[i + 1] == '%') {
        out += '%';
        ++i;
        continue;
      }
    }
    out += pattern[i];
  }
  return out;
}

std::string L10n::translate(std::string_view source, std::initializer_list<std::string_view> arguments) {
  const AppLanguage language = currentLanguage();
  std::string_view pattern = source;
  if (language != AppLanguage::simplifiedChinese) {
    // Every language other than the source falls back to English.
    if (const auto english = englishEntry(source); !english.empty()) pattern = english;
  }
  return format(pattern, arguments);
}

AppLanguage L10n::currentLanguage() { return resolve(gLanguage.load()); }
void L10n::setLanguage(AppLanguage language) { gLanguage.store(language); }

std::string_view L10n::englishEntry(std::string_view source) {
  static const std::unordered_map<std::string_view, std::string_view> table = l10n::englishCatalogue();
  const auto found = table.find(source);
  return found == table.end() ? std::string_view{} : found->second;
}

}  // namespace tidyloom
