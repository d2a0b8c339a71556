// L10n: turns a Chinese source text with "%@" placeholders into the current display language.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "l10n/app_language.h"

namespace tidyloom {

class L10n {
 public:
  // Translates `source` (the Chinese format text) and fills its "%@" placeholders in order;
  // "%%" is a literal percent sign. Missing arguments leave the placeholder empty.
  static std::string translate(std::string_view source, std::initializer_list<std::string_view> arguments = {});

  // The language messages are produced in; `system` is resolved through the process locale.
  static AppLanguage currentLanguage();
  static void setLanguage(AppLanguage language);

  // The English text of a source message, or empty when the catalogue has none (used by tests).
  static std::string_view englishEntry(std::string_view source);
  // Fills placeholders without translating.
  static std::string format(std::string_view pattern, std::initializer_list<std::string_view> arguments);
};

}  // namespace tidyloom
