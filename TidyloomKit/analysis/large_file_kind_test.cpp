// Kinds from extensions and the platform's type registry; bands of found items.
#include <gtest/gtest.h>

#include "analysis/large_file_scanner.h"

namespace tidyloom {
namespace {

using namespace std::chrono;

struct KindCase {
  const char* path;
  LargeFileKind kind;
};

class LargeFileKindTest : public ::testing::TestWithParam<KindCase> {};

TEST_P(LargeFileKindTest, KindComesFromTheExtensionListsThenTheTypeRegistry) {
  EXPECT_EQ(LargeFileScanner::kind(GetParam().path), GetParam().kind) << GetParam().path;
}

INSTANTIATE_TEST_SUITE_P(
    Extensions, LargeFileKindTest,
    ::testing::Values(KindCase{"/a/backup.ZIP", LargeFileKind::archive},
                      KindCase{"/a/x.tar.gz", LargeFileKind::archive}, KindCase{"/a/setup.dmg", LargeFileKind::archive},
                      KindCase{"/a/disk.iso", LargeFileKind::archive},
                      KindCase{"/a/notes.docx", LargeFileKind::document},
                      KindCase{"/a/report.pdf", LargeFileKind::document},
                      KindCase{"/a/sheet.xlsx", LargeFileKind::document},
                      KindCase{"/a/holiday.MP4", LargeFileKind::movie}, KindCase{"/a/film.mkv", LargeFileKind::movie},
                      KindCase{"/a/song.mp3", LargeFileKind::music}, KindCase{"/a/track.flac", LargeFileKind::music},
                      KindCase{"/a/photo.jpg", LargeFileKind::image}, KindCase{"/a/scan.png", LargeFileKind::image},
                      KindCase{"/a/data.xyz", LargeFileKind::other}, KindCase{"/a/README", LargeFileKind::other},
                      KindCase{"/a/.bashrc", LargeFileKind::other}, KindCase{"/a/trailing.", LargeFileKind::other}));

TEST(LargeFileItemTest, SizeBandTurnsHugeAtExactlyOneGibibyte) {
  LargeFileItem item;
  item.size = std::uint64_t{1} << 30;
  EXPECT_EQ(item.sizeBand(), LargeFileSizeBand::huge);
  item.size -= 1;
  EXPECT_EQ(item.sizeBand(), LargeFileSizeBand::large);
}

struct AgeCase {
  double days;
  LargeFileAgeBand band;
};

class LargeFileAgeBandTest : public ::testing::TestWithParam<AgeCase> {};

TEST_P(LargeFileAgeBandTest, AgeBandCountsWholeAndFractionalDays) {
  const FileTime now = floor<microseconds>(system_clock::now());
  LargeFileItem item;
  item.lastUsed = now - duration_cast<microseconds>(duration<double>(GetParam().days * 86400.0));
  EXPECT_EQ(item.ageBand(now), GetParam().band) << GetParam().days;
}

INSTANTIATE_TEST_SUITE_P(Days, LargeFileAgeBandTest,
                         ::testing::Values(AgeCase{0, LargeFileAgeBand::recent}, AgeCase{6.9, LargeFileAgeBand::recent},
                                           AgeCase{7, LargeFileAgeBand::overWeek},
                                           AgeCase{29.9, LargeFileAgeBand::overWeek},
                                           AgeCase{30, LargeFileAgeBand::overMonth},
                                           AgeCase{364.9, LargeFileAgeBand::overMonth},
                                           AgeCase{365, LargeFileAgeBand::overYear}));

TEST(LargeFileItemTest, LastUsedIsTheLaterDateAndAMissingOneCountsAsTheDistantPast) {
  const FileTime earlier{sys_days{2024y / 1 / 1}};
  const FileTime later{sys_days{2025y / 6 / 1}};
  EXPECT_EQ(lastUsedDate(earlier, later), later);
  EXPECT_EQ(lastUsedDate(later, std::nullopt), later);
  const LargeFileItem never{.path = "/a/old.bin", .lastUsed = lastUsedDate(std::nullopt, std::nullopt)};
  EXPECT_EQ(never.ageBand(later), LargeFileAgeBand::overYear);
  EXPECT_EQ(never.name(), "old.bin");
}

}  // namespace
}  // namespace tidyloom
