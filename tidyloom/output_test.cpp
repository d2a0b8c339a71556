// Tests of the human output helpers: SIZE parsing, decimal sizes, display widths and tables.
#include <gtest/gtest.h>

#include <regex>

#include "output.h"

namespace tidyloom::cli {
namespace {

struct SizeCase {
  const char* text;
  std::optional<std::uint64_t> bytes;
};

void PrintTo(const SizeCase& c, std::ostream* out) { *out << '"' << c.text << '"'; }

class ParseSizeTest : public ::testing::TestWithParam<SizeCase> {};

TEST_P(ParseSizeTest, AcceptsBytesAndDecimalUnitsAndRejectsEverythingElse) {
  EXPECT_EQ(parseSize(GetParam().text), GetParam().bytes) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    Table, ParseSizeTest,
    ::testing::Values(SizeCase{"0", 0}, SizeCase{"512", 512}, SizeCase{"512B", 512}, SizeCase{"512K", 512'000},
                      SizeCase{"10kB", 10'000}, SizeCase{"100M", 100'000'000}, SizeCase{"100mb", 100'000'000},
                      SizeCase{"1.5G", 1'500'000'000}, SizeCase{"2GB", 2'000'000'000}, SizeCase{".5K", 500},
                      SizeCase{"1T", 1'000'000'000'000}, SizeCase{"18E", 18'000'000'000'000'000'000ULL},
                      SizeCase{"18446744073709551615", 18446744073709551615ULL},
                      SizeCase{"18446744073709551616", std::nullopt}, SizeCase{"19E", std::nullopt},
                      SizeCase{"", std::nullopt}, SizeCase{"M", std::nullopt}, SizeCase{"-5", std::nullopt},
                      SizeCase{"1.2.3", std::nullopt}, SizeCase{"12Q", std::nullopt}, SizeCase{"1 M", std::nullopt},
                      SizeCase{"1MiB", std::nullopt}, SizeCase{"1KK", std::nullopt}));

TEST(FormatBytesTest, UsesDecimalUnitsWithOneDecimalAndRoundsUpIntoTheNextUnit) {
  EXPECT_EQ(formatBytes(0), "0 bytes");
  EXPECT_EQ(formatBytes(999), "999 bytes");
  EXPECT_EQ(formatBytes(1000), "1.0 kB");
  EXPECT_EQ(formatBytes(1500), "1.5 kB");
  EXPECT_EQ(formatBytes(999'949), "999.9 kB");
  EXPECT_EQ(formatBytes(999'950), "1.0 MB");
  EXPECT_EQ(formatBytes(123'456'789), "123.5 MB");
  EXPECT_EQ(formatBytes(4'000'000'000'000), "4.0 TB");
  EXPECT_EQ(formatBytes(UINT64_MAX), "18.4 EB");
}

std::string withoutEscapes(const std::string& text) {
  return std::regex_replace(text, std::regex("\033\\[[0-9;]*m"), "");
}

TEST(DisplayWidthTest, WideCharactersCountTwoAndCombiningMarksNothing) {
  EXPECT_EQ(displayWidth("abc"), 3u);
  EXPECT_EQ(displayWidth("中文目录"), 8u);
  EXPECT_EQ(displayWidth("e\u0301"), 1u);
  EXPECT_EQ(displayWidth("\U0001F4C1 x"), 4u);
  EXPECT_EQ(truncateToWidth("中文中文", 5), "中文…");
  EXPECT_EQ(truncateToWidth("short", 10), "short");
}

TEST(TableTest, ColumnsLineUpByDisplayWidthWithCjkText) {
  Table table({"名称", "Size"}, {Table::Align::left, Table::Align::right});
  table.add({"中文目录", "1.0 kB"});
  table.add({"a", "12.0 MB"});
  EXPECT_EQ(withoutEscapes(table.render()),
            "名称         Size\n"
            "中文目录   1.0 kB\n"
            "a         12.0 MB\n");
}

TEST(TableTest, PairsLineUpTheirValues) {
  EXPECT_EQ(withoutEscapes(alignedPairs({{"主机", "vm"}, {"Trash", "0 bytes"}})),
            "主机   vm\n"
            "Trash  0 bytes\n");
}

TEST(PrintablePathTest, ControlCharactersAreShownAsEscapes) {
  EXPECT_EQ(printablePath("a\nb\tc\x1b[2J\x7f"), "a\\nb\\tc\\x1b[2J\\x7f");
  EXPECT_EQ(printablePath("普通/路径 with space"), "普通/路径 with space");
  EXPECT_TRUE(hasControlCharacter("x\ry"));
  EXPECT_FALSE(hasControlCharacter("目录/x"));
}

}  // namespace
}  // namespace tidyloom::cli
