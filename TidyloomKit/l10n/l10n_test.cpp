// Tests of the translation layer and the catalogue's completeness.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

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

// Reads every catalogue file of the source tree as written (the compiled table keeps one entry per
// source text, so duplicates across files are only visible here).
struct CatalogueLine {
  std::string file;
  size_t line = 0;
  std::string source;
  std::string english;
  bool wellFormed = false;
};

std::vector<CatalogueLine> catalogueLines() {
  namespace fs = std::filesystem;
  std::vector<CatalogueLine> lines;
  for (const auto& entry : fs::directory_iterator(fs::path(TIDYLOOM_SOURCE_DIR) / "TidyloomKit/l10n/catalogue")) {
    if (entry.path().extension() != ".tsv") continue;
    std::ifstream in(entry.path());
    std::string text;
    for (size_t number = 1; std::getline(in, text); ++number) {
      if (text.empty() || text.front() == '#') continue;
      CatalogueLine line{entry.path().filename().string(), number, text, {}, false};
      if (const size_t tab = text.find('\t'); tab != std::string::npos) {
        line.source = text.substr(0, tab);
        line.english = text.substr(tab + 1);
        line.wellFormed = line.english.find('\t') == std::string::npos;
      }
      lines.push_back(std::move(line));
    }
  }
  return lines;
}

TEST_F(L10nTest, EveryCatalogueEntryHasEnglishWithTheSamePlaceholders) {
  const auto lines = catalogueLines();
  EXPECT_GE(lines.size(), 100u);
  for (const auto& line : lines) {
    const std::string where = line.file + ":" + std::to_string(line.line);
    if (!line.wellFormed) {
      ADD_FAILURE() << where << ": not \"source<TAB>english\": " << line.source;
      continue;
    }
    EXPECT_FALSE(line.english.empty()) << where << ": no English for " << line.source;
    EXPECT_EQ(placeholders(line.english), placeholders(line.source)) << where << ": " << line.source;
    EXPECT_TRUE(line.english.find_first_of("\r") == std::string::npos) << where << ": carriage return";
  }
}

TEST_F(L10nTest, NoMessageIsTranslatedTwoWaysAcrossCatalogueFiles) {
  std::map<std::string, const CatalogueLine*> first;
  const auto lines = catalogueLines();
  for (const auto& line : lines) {
    if (!line.wellFormed) continue;
    const auto [it, inserted] = first.emplace(line.source, &line);
    if (!inserted && it->second->english != line.english) {
      ADD_FAILURE() << line.source << ": \"" << it->second->english << "\" (" << it->second->file << ") vs \""
                    << line.english << "\" (" << line.file << ")";
    }
  }
}

TEST_F(L10nTest, CompiledCatalogueKeepsEscapesAndTrailingSpaces) {
  L10n::setLanguage(AppLanguage::english);
  // Prefix messages are completed by their callers, so their trailing space matters.
  EXPECT_EQ(L10n::translate("Homebrew 未能卸载 cask "), "Homebrew could not uninstall the cask ");
  EXPECT_EQ(L10n::translate("受保护路径：%@", {"/x"}), "Protected path: /x");
  EXPECT_EQ(L10n::translate("一条没有译文的消息"), "一条没有译文的消息");
}

}  // namespace
}  // namespace tidyloom
