// Tests of the shared core: time, UUIDs, atomic writes, the bounded process runner, JSON coding.
#include <gtest/gtest.h>

#include <thread>

#include "core/atomic_write.h"
#include "core/bounded_probe.h"
#include "core/iso8601.h"
#include "core/json_coding.h"
#include "core/property_list.h"
#include "core/uuid.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

TEST(ISO8601Test, RoundTripsWholeSecondsInUTC) {
  const auto parsed = parseISO8601("2026-02-28T23:59:59Z");
  ASSERT_TRUE(parsed);
  EXPECT_EQ(formatISO8601(*parsed), "2026-02-28T23:59:59Z");
  EXPECT_EQ(formatISO8601(SystemTime{}), "1970-01-01T00:00:00Z");
}

TEST(ISO8601Test, RejectsFractionsOffsetsAndImpossibleDates) {
  for (const char* bad : {"2026-02-28T23:59:59.5Z", "2026-02-28T23:59:59+01:00", "2026-02-30T00:00:00Z",
                          "2026-02-28 23:59:59Z", "2026-02-28T24:00:00Z", "", "2026-2-28T23:59:59Z"}) {
    EXPECT_FALSE(parseISO8601(bad)) << bad;
  }
}

TEST(UUIDTest, IsUpperCaseCanonicalVersion4AndUnique) {
  const auto a = makeUUID();
  EXPECT_TRUE(isCanonicalUUID(a)) << a;
  EXPECT_EQ(a[14], '4');
  EXPECT_NE(a, makeUUID());
  EXPECT_FALSE(isCanonicalUUID("c8f2a1e0-0000-4000-8000-000000000000"));
}

TEST(AtomicWriteTest, ReplacesWholeFileAndLeavesNoTemporaryBehind) {
  testing::TempTree tree;
  const auto target = tree.path("a/b/file.json");
  writeFileAtomically(target, "first");
  writeFileAtomically(target, "second");
  std::string data;
  ASSERT_TRUE(readWholeFile(target, data));
  EXPECT_EQ(data, "second");
  size_t entries = 0;
  for ([[maybe_unused]] const auto& e : std::filesystem::directory_iterator(target.parent_path())) ++entries;
  EXPECT_EQ(entries, 1u);
}

TEST(BoundedProbeTest, CollectsStatusAndOutput) {
  const auto r = BoundedProbe::run("/bin/sh", {"-c", "echo out; echo err >&2; exit 3"}, std::chrono::seconds(10));
  EXPECT_TRUE(r.launched);
  EXPECT_EQ(r.status, 3);
  EXPECT_EQ(r.output, "out\n");
  EXPECT_EQ(r.errorOutput, "err\n");
}

TEST(BoundedProbeTest, KillsTheWholeProcessGroupAtTheDeadline) {
  testing::TempTree tree;
  const auto marker = tree.path("survivor");
  // The grandchild would write the marker after the deadline if it survived the group kill.
  const auto start = std::chrono::steady_clock::now();
  const auto r = BoundedProbe::run("/bin/sh", {"-c", "(sleep 1; touch '" + marker.string() + "') & sleep 30"},
                                   std::chrono::milliseconds(200));
  EXPECT_EQ(r.status, 124);
  EXPECT_TRUE(r.timedOut);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  EXPECT_FALSE(std::filesystem::exists(marker));
}

TEST(BoundedProbeTest, ReportsSignalsAndLaunchFailures) {
  EXPECT_EQ(BoundedProbe::run("/bin/sh", {"-c", "kill -TERM $$"}, std::chrono::seconds(10)).status, 128 + 15);
  EXPECT_FALSE(BoundedProbe::run("/nonexistent/tool", {}, std::chrono::seconds(1)).launched);
}

TEST(JsonCodingTest, RunReportUsesFieldNamesAndEscapesSlashesWhenAsked) {
  RunReport report;
  report.removed = {"/a"};
  report.failed = {{"/b", "why"}};
  report.freedBytes = 42;
  report.taskOutcomes["go"] = TaskOutcome::applied;
  const nlohmann::json j = report;
  EXPECT_EQ(j["failed"][0]["reason"], "why");
  EXPECT_EQ(j["taskOutcomes"]["go"], "applied");
  EXPECT_EQ(j.get<RunReport>(), report);
  EXPECT_EQ(dumpEscapingSlashes(nlohmann::json{{"p", "/a/b"}}), R"({"p":"\/a\/b"})");
}

TEST(PropertyListTest, ReadsATopLevelStringFromXmlAndBinaryListsAndNothingElse) {
  const std::string xml =
      R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict><key>CFBundleIdentifier</key>)"
      R"(<string>com.example.app</string><key>N</key><integer>1</integer></dict></plist>)";
  EXPECT_EQ(propertyListString(xml, "CFBundleIdentifier"), "com.example.app");
  EXPECT_EQ(propertyListString(xml, "N"), std::nullopt);
  EXPECT_EQ(propertyListString(xml, "Missing"), std::nullopt);
  // bplist00 of {"CFBundleIdentifier": "a.b"}, as written by the system's tools.
  const unsigned char binary[] = {
      0x62, 0x70, 0x6c, 0x69, 0x73, 0x74, 0x30, 0x30, 0xd1, 0x01, 0x02, 0x5f, 0x10, 0x12, 'C',  'F',  'B',  'u',
      'n',  'd',  'l',  'e',  'I',  'd',  'e',  'n',  't',  'i',  'f',  'i',  'e',  'r',  0x53, 'a',  '.',  'b',
      0x08, 0x0b, 0x20, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
      0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x24};
  EXPECT_EQ(
      propertyListString(std::string_view(reinterpret_cast<const char*>(binary), sizeof binary), "CFBundleIdentifier"),
      "a.b");
  // A binary list whose string holds a NUL, which libplist 2.2's string getter asserts on (a fuzz find).
  std::string withNul;
  ASSERT_TRUE(readWholeFile(TIDYLOOM_SOURCE_DIR "/fuzz/corpus/property_list/string-with-nul", withNul));
  (void)propertyListString(withNul, "CFBundleIdentifier");
  for (const char* bad : {"", "not a plist", "<plist><array><string>x</string></array></plist>", "bplist00"}) {
    EXPECT_EQ(propertyListString(bad, "CFBundleIdentifier"), std::nullopt) << bad;
  }
}

}  // namespace
}  // namespace tidyloom
