// ICU regular expressions for rule patterns and path-pattern components.
#include "clean/icu_regex.h"

#include <unicode/locid.h>
#include <unicode/regex.h>
#include <unicode/unistr.h>

namespace tidyloom {

struct IcuRegex::Impl {
  std::unique_ptr<icu::RegexPattern> pattern;
};

IcuRegex::IcuRegex(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
IcuRegex::~IcuRegex() = default;

std::unique_ptr<IcuRegex> IcuRegex::compile(std::string_view pattern) {
  UErrorCode status = U_ZERO_ERROR;
  UParseError parseError{};
  const icu::UnicodeString source = icu::UnicodeString::fromUTF8(icu::StringPiece(pattern.data(), pattern.size()));
  std::unique_ptr<icu::RegexPattern> compiled(icu::RegexPattern::compile(source, 0, parseError, status));
  if (U_FAILURE(status) || !compiled) return nullptr;
  auto impl = std::make_unique<Impl>();
  impl->pattern = std::move(compiled);
  return std::unique_ptr<IcuRegex>(new IcuRegex(std::move(impl)));
}

namespace {

template <typename Match>
bool run(const icu::RegexPattern& pattern, std::string_view text, Match match) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::UnicodeString input = icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), text.size()));
  std::unique_ptr<icu::RegexMatcher> matcher(pattern.matcher(input, status));
  if (U_FAILURE(status) || !matcher) return false;
  const bool found = match(*matcher, status);
  return U_SUCCESS(status) && found;
}

}  // namespace

bool IcuRegex::search(std::string_view text) const {
  return run(*impl_->pattern, text, [](icu::RegexMatcher& m, UErrorCode& status) { return m.find(0, status); });
}

bool IcuRegex::matchesWhole(std::string_view text) const {
  return run(*impl_->pattern, text, [](icu::RegexMatcher& m, UErrorCode& status) { return m.matches(status); });
}

std::string IcuRegex::escape(std::string_view text) {
  static constexpr std::string_view kMeta = "\\^$.|?*+()[]{}-/#&~ ";
  std::string out;
  out.reserve(text.size() * 2);
  for (const char c : text) {
    if (kMeta.find(c) != std::string_view::npos) out += '\\';
    out += c;
  }
  return out;
}

std::string lowercased(std::string_view text) {
  icu::UnicodeString value = icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), text.size()));
  value.toLower(icu::Locale::getRoot());
  std::string out;
  value.toUTF8String(out);
  return out;
}

}  // namespace tidyloom
