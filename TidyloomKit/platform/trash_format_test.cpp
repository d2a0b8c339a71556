// The Trash's text formats: what other freedesktop.org tools write is read back exactly.
#include "platform/trash_format.h"

#include <gtest/gtest.h>

namespace tidyloom::platform {
namespace {

TEST(TrashFormatTest, InfoFilesRoundTripAndForeignOnesAreRead) {
  const TrashInfo info{"/home/u/a b%/ünï.txt", "2026-11-25T10:00:00"};
  const auto text = encodeTrashInfo(info);
  EXPECT_EQ(text, "[Trash Info]\nPath=/home/u/a%20b%25/%C3%BCn%C3%AF.txt\nDeletionDate=2026-11-25T10:00:00\n");
  const auto back = parseTrashInfo(text);
  ASSERT_TRUE(back);
  EXPECT_EQ(back->path, info.path);
  // Written by another tool: comments, CRLF, another group first, keys in another order.
  const auto foreign = parseTrashInfo(
      "# x\r\n[Other]\r\nPath=/no\r\n[Trash Info]\r\nDeletionDate=2026-01-02T03:04:05\r\n"
      "Path=rel/file%2Ename\r\n");
  ASSERT_TRUE(foreign);
  EXPECT_EQ(foreign->path, "rel/file.name");
  EXPECT_EQ(foreign->deletionDate, "2026-01-02T03:04:05");
}

TEST(TrashFormatTest, BrokenInfoFilesAreRejected) {
  for (const char* text :
       {"", "Path=/a\nDeletionDate=2026-01-02T03:04:05\n", "[Trash Info]\nPath=\nDeletionDate=2026-01-02T03:04:05\n",
        "[Trash Info]\nPath=/a\n", "[Trash Info]\nPath=/a\nDeletionDate=yesterday\n",
        "[Trash Info]\nPath=/a%00b\nDeletionDate=2026-01-02T03:04:05\n"}) {
    EXPECT_FALSE(parseTrashInfo(text)) << text;
  }
}

TEST(TrashFormatTest, DirectorySizeLinesRoundTripAndMalformedOnesAreSkipped) {
  const auto entry = parseDirectorySizeLine("4096 1700000000 caf%C3%A9%20x");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->bytes, 4096u);
  EXPECT_EQ(entry->mtime, 1700000000);
  EXPECT_EQ(entry->name, "café x");
  EXPECT_EQ(encodeDirectorySizeLine(*entry), "4096 1700000000 caf%C3%A9%20x");
  for (const char* line : {"", "4096", "4096 17", "x 1 a", "1 y a", "1 2 a b", "1 2 a%2Fb", "-1 2 a"}) {
    EXPECT_FALSE(parseDirectorySizeLine(line)) << line;
  }
}

TEST(TrashFormatTest, PercentDecodingKeepsWhatIsNoEscape) {
  EXPECT_EQ(percentDecoded("100%"), "100%");
  EXPECT_EQ(percentDecoded("%zz%4"), "%zz%4");
  EXPECT_EQ(percentDecoded("%41%62"), "Ab");
}

}  // namespace
}  // namespace tidyloom::platform
