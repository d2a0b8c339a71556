// The message catalogue compiled from l10n/catalogue/*.tsv.
#pragma once

#include <string_view>
#include <unordered_map>

namespace tidyloom::l10n {

// Chinese source text to English text; views point into static storage.
std::unordered_map<std::string_view, std::string_view> englishCatalogue();

}  // namespace tidyloom::l10n
