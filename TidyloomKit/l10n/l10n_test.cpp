// Tests of the translation layer and the catalogue's completeness.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "l10n/l10n.h"

namespace tidyloom {
namespace {

class L10nTest : public ::testing::Test {
 protected:
  void TearDown() override { L10n::setLanguage(AppLanguage::system); }
};

TEST_F(L10nTest, FillsPlaceholdersInOrderAndKeepsLiteralPercent) {
  EXPECT_EQ(L10n::format("a %@ b %@ 100%%", {"x", "y"}), "a x b y 100%");
  EXPECT_EQ(L10n::format("%@ %@", {"only"}), "only ");
}

TEST_F(L10nTest, ChineseIsTheSourceAndOtherLanguagesFallBackToEnglish) {
  L10n::setLanguage(AppLanguage::simplifiedChinese);
  EXPECT_EQ(L10n::translate("操作已取消"), "操作已取消");
  L10n::setLanguage(AppLanguage::english);
  EXPECT_EQ(L10n::translate("操作已取消"), "Operation cancelled");
  L10n::setLanguage(AppLanguage::german);
  EXPECT_EQ(L10n::translate("操作已取消"), "Operation cancelled");
}

TEST_F(L10nTest, LanguagesAndFeaturesKeepTheirOrder) {
  EXPECT_EQ(allAppLanguages().size(), 22u);
  EXPECT_EQ(allAppLanguages().front(), AppLanguage::system);
  EXPECT_EQ(rawValue(allTidyloomFeatures().back()), "gameClean");
  EXPECT_EQ(languageForLocale("zh_CN.UTF-8"), AppLanguage::simplifiedChinese);
  EXPECT_EQ(languageForLocale("zh_TW"), AppLanguage::traditionalChinese);
  EXPECT_EQ(languageForLocale("C"), AppLanguage::english);
  EXPECT_EQ(languageForLocale("fr_FR.UTF-8"), AppLanguage::french);
}

size_t placeholders(std::string_view text) {
  size_t n = 0;
  for (size_t i = 0; (i = text.find("%@", i)) != std::string_view::npos; i += 2) ++n;
  return n;
}

// Every Chinese message in a source literal, and every quoted Chinese message of the product's
// reference messages list, must have an English entry with the same number of placeholders.
TEST_F(L10nTest, EveryChineseLiteralInTheSourcesHasAnEnglishEntry) {
  namespace fs = std::filesystem;
  const std::regex literal(R"re("((?:[^"\\\n]|\\.)*)")re");
  std::set<std::string> missing;
  size_t checked = 0;
  for (const char* top : {"TidyloomKit", "TidyloomHelper", "tidyloom"}) {
    const fs::path dir = fs::path(TIDYLOOM_SOURCE_DIR) / top;
    if (!fs::exists(dir)) continue;
    for (const auto& entry : fs::recursive_directory_iterator(dir)) {
      const auto ext = entry.path().extension();
      if (ext != ".cpp" && ext != ".h" && ext != ".mm") continue;
      if (entry.path().filename().string().ends_with("_test.cpp")) continue;
      std::ifstream in(entry.path());
      std::stringstream buffer;
      buffer << in.rdbuf();
      const std::string text = buffer.str();
      for (std::sregex_iterator it(text.begin(), text.end(), literal), end; it != end; ++it) {
        const std::string message = (*it)[1];
        const bool chinese = std::any_of(message.begin(), message.end(), [](char c) {
          return static_cast<unsigned char>(c) >= 0xE4 && static_cast<unsigned char>(c) <= 0xE9;
        });
        if (!chinese || message.find('\\') != std::string::npos) continue;
        ++checked;
        const auto english = L10n::englishEntry(message);
        if (english.empty() || placeholders(english) != placeholders(message)) {
          missing.insert(entry.path().filename().string() + ": " + message);
        }
      }
    }
  }
  EXPECT_GT(checked, 0u);
  for (const auto& m : missing) ADD_FAILURE() << "no matching English entry: " << m;
}

}  // namespace
}  // namespace tidyloom
