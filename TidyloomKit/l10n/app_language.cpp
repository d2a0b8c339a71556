// Raw values of the languages and features, and locale matching.
#include "l10n/app_language.h"

#include <string>
#include <utility>

namespace tidyloom {
namespace {

constexpr std::array<std::pair<AppLanguage, std::string_view>, kAppLanguageCount> kLanguages{{
    {AppLanguage::system, "system"},
    {AppLanguage::simplifiedChinese, "zh-Hans"},
    {AppLanguage::traditionalChinese, "zh-Hant"},
    {AppLanguage::english, "en"},
    {AppLanguage::japanese, "ja"},
    {AppLanguage::korean, "ko"},
    {AppLanguage::french, "fr"},
    {AppLanguage::german, "de"},
    {AppLanguage::spanish, "es"},
    {AppLanguage::italian, "it"},
    {AppLanguage::portugueseBrazil, "pt-BR"},
    {AppLanguage::russian, "ru"},
    {AppLanguage::dutch, "nl"},
    {AppLanguage::swedish, "sv"},
    {AppLanguage::polish, "pl"},
    {AppLanguage::turkish, "tr"},
    {AppLanguage::ukrainian, "uk"},
    {AppLanguage::vietnamese, "vi"},
    {AppLanguage::thai, "th"},
    {AppLanguage::indonesian, "id"},
    {AppLanguage::arabic, "ar"},
    {AppLanguage::hindi, "hi"},
}};

constexpr std::array<std::pair<TidyloomFeature, std::string_view>, kTidyloomFeatureCount> kFeatures{{
    {TidyloomFeature::clean, "clean"},
    {TidyloomFeature::uninstall, "uninstall"},
    {TidyloomFeature::optimize, "optimize"},
    {TidyloomFeature::purge, "purge"},
    {TidyloomFeature::slim, "slim"},
    {TidyloomFeature::installer, "installer"},
    {TidyloomFeature::analyze, "analyze"},
    {TidyloomFeature::status, "status"},
    {TidyloomFeature::largeFiles, "largeFiles"},
    {TidyloomFeature::duplicates, "duplicates"},
    {TidyloomFeature::shredder, "shredder"},
    {TidyloomFeature::workClean, "workClean"},
    {TidyloomFeature::gameClean, "gameClean"},
}};

}  // namespace

const std::array<AppLanguage, kAppLanguageCount>& allAppLanguages() {
  static const auto all = [] {
    std::array<AppLanguage, kAppLanguageCount> out{};
    for (size_t i = 0; i < kLanguages.size(); ++i) out[i] = kLanguages[i].first;
    return out;
  }();
  return all;
}

std::string_view rawValue(AppLanguage language) {
  for (const auto& [value, raw] : kLanguages) {
    if (value == language) return raw;
  }
  return "en";
}

std::optional<AppLanguage> appLanguageFromRaw(std::string_view raw) {
  for (const auto& [value, name] : kLanguages) {
    if (name == raw) return value;
  }
  return std::nullopt;
}

AppLanguage languageForLocale(std::string_view locale) {
  std::string name(locale.substr(0, locale.find_first_of(".@")));
  for (auto& c : name) {
    if (c == '-') c = '_';
  }
  if (name.starts_with("zh")) {
    const bool traditional = name.find("Hant") != std::string::npos || name.ends_with("_TW") || name.ends_with("_HK") ||
                             name.ends_with("_MO");
    return traditional ? AppLanguage::traditionalChinese : AppLanguage::simplifiedChinese;
  }
  if (name.starts_with("pt")) return AppLanguage::portugueseBrazil;
  const std::string base = name.substr(0, name.find('_'));
  if (const auto language = appLanguageFromRaw(base); language && *language != AppLanguage::system) {
    return *language;
  }
  return AppLanguage::english;
}

const std::array<TidyloomFeature, kTidyloomFeatureCount>& allTidyloomFeatures() {
  static const auto all = [] {
    std::array<TidyloomFeature, kTidyloomFeatureCount> out{};
    for (size_t i = 0; i < kFeatures.size(); ++i) out[i] = kFeatures[i].first;
    return out;
  }();
  return all;
}

std::string_view rawValue(TidyloomFeature feature) {
  for (const auto& [value, raw] : kFeatures) {
    if (value == feature) return raw;
  }
  return "clean";
}

std::optional<TidyloomFeature> tidyloomFeatureFromRaw(std::string_view raw) {
  for (const auto& [value, name] : kFeatures) {
    if (name == raw) return value;
  }
  return std::nullopt;
}

}  // namespace tidyloom
