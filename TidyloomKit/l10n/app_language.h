// AppLanguage: the display languages, `system` first; TidyloomFeature: the product's features.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace tidyloom {

enum class AppLanguage {
  system,
  simplifiedChinese,
  traditionalChinese,
  english,
  japanese,
  korean,
  french,
  german,
  spanish,
  italian,
  portugueseBrazil,
  russian,
  dutch,
  swedish,
  polish,
  turkish,
  ukrainian,
  vietnamese,
  thai,
  indonesian,
  arabic,
  hindi,
};

inline constexpr size_t kAppLanguageCount = 22;
const std::array<AppLanguage, kAppLanguageCount>& allAppLanguages();

std::string_view rawValue(AppLanguage language);
std::optional<AppLanguage> appLanguageFromRaw(std::string_view raw);
// The language a POSIX locale name ("zh_CN.UTF-8", "en_GB", "C") stands for; English when unknown.
AppLanguage languageForLocale(std::string_view locale);

// The key under which the chosen language is stored in the user defaults.
inline constexpr std::string_view kLanguageDefaultsKey = "tidyloom.language";

enum class TidyloomFeature {
  clean,
  uninstall,
  optimize,
  purge,
  slim,
  installer,
  analyze,
  status,
  largeFiles,
  duplicates,
  shredder,
  workClean,
  gameClean,
};
inline constexpr size_t kTidyloomFeatureCount = 13;
const std::array<TidyloomFeature, kTidyloomFeatureCount>& allTidyloomFeatures();
std::string_view rawValue(TidyloomFeature feature);
std::optional<TidyloomFeature> tidyloomFeatureFromRaw(std::string_view raw);

}  // namespace tidyloom
