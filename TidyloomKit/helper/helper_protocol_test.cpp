// Frames and messages between the front end and the daemon: round trips and what gets rejected.
#include <gtest/gtest.h>

#include "core/engine_error.h"
#include "helper/helper_protocol.h"

namespace tidyloom {
namespace {

TEST(HelperProtocolTest, RequestsSurviveTheRoundTrip) {
  const HelperRequest scan = ScanSystemRequest{true};
  const auto parsedScan = parseRequest(encodeRequest(scan));
  ASSERT_TRUE(parsedScan);
  EXPECT_TRUE(std::get<ScanSystemRequest>(*parsedScan).includesRebuildableCaches);

  const HelperRequest remove = RemoveSystemPathsRequest{{"/var/log/a.log", "/var/log/b 'c'.gz"}, "zh-Hans"};
  const auto parsedRemove = parseRequest(encodeRequest(remove));
  ASSERT_TRUE(parsedRemove);
  EXPECT_EQ(std::get<RemoveSystemPathsRequest>(*parsedRemove).paths, std::get<RemoveSystemPathsRequest>(remove).paths);
  EXPECT_EQ(std::get<RemoveSystemPathsRequest>(*parsedRemove).language, "zh-Hans");
}

TEST(HelperProtocolTest, RequestsNameTheOperationBySelector) {
  EXPECT_NE(encodeRequest(ScanSystemRequest{}).find("\"scanSystemWithIncludesRebuildableCaches:reply:\""),
            std::string::npos);
  EXPECT_NE(encodeRequest(RemoveSystemPathsRequest{}).find("\"removeSystemPaths:language:reply:\""), std::string::npos);
}

class MalformedRequestTest : public ::testing::TestWithParam<std::string> {};

TEST_P(MalformedRequestTest, IsRejected) { EXPECT_FALSE(parseRequest(GetParam())); }

INSTANTIATE_TEST_SUITE_P(
    Bodies, MalformedRequestTest,
    ::testing::Values("", "not json", "[]", R"({"selector":"deleteEverything:"})",
                      R"({"selector":"scanSystemWithIncludesRebuildableCaches:reply:"})",
                      R"({"selector":"scanSystemWithIncludesRebuildableCaches:reply:","includesRebuildableCaches":1})",
                      R"({"selector":"removeSystemPaths:language:reply:","paths":"/etc","language":"en"})",
                      R"({"selector":"removeSystemPaths:language:reply:","paths":[1],"language":"en"})",
                      R"({"selector":"removeSystemPaths:language:reply:","paths":[]})",
                      R"({"selector":"removeSystemPaths:language:reply:","paths":[],"language":")" +
                          std::string(100, 'x') + "\"}",
                      R"({"selector":"removeSystemPaths:language:reply:","paths":[")" + std::string(5000, 'a') +
                          R"("],"language":"en"})"));

TEST(HelperProtocolTest, DeeplyNestedRequestsAreRejectedBeforeTheyAreParsed) {
  const std::string nested = std::string(100000, '[') + std::string(100000, ']');
  EXPECT_FALSE(
      parseRequest(R"({"selector":"removeSystemPaths:language:reply:","paths":[)" + nested + R"(],"language":"en"})"));
  EXPECT_EQ(jsonNestingDepth(nested, 2), 3u);
  // Brackets inside strings, escaped quotes included, are text, not nesting.
  EXPECT_EQ(jsonNestingDepth(R"({"a":["[[[{{\"]]]"]})", 5), 2u);
  EXPECT_TRUE(parseRequest(R"({"selector":"removeSystemPaths:language:reply:","paths":["/var/log/[x]{y}\"z"],)"
                           R"("language":"en"})"));
}

TEST(HelperProtocolTest, TooManyPathsAreRejected) {
  RemoveSystemPathsRequest request{std::vector<std::string>(FrameLimits::kMaxPaths + 1, "/var/log/x"), "en"};
  EXPECT_FALSE(parseRequest(encodeRequest(request)));
  request.paths.pop_back();
  EXPECT_TRUE(parseRequest(encodeRequest(request)));
}

TEST(HelperProtocolTest, FrameHeadersAreBigEndianAndBounded) {
  const std::string framed = frame("{}");
  ASSERT_EQ(framed.size(), 6u);
  EXPECT_EQ(framed.substr(0, 4), std::string("\0\0\0\2", 4));
  const unsigned char small[4] = {0, 0, 1, 0};
  const unsigned char empty[4] = {0, 0, 0, 0};
  const unsigned char huge[4] = {0xff, 0xff, 0xff, 0xff};
  EXPECT_EQ(frameLength(small, 1024), 256u);
  EXPECT_EQ(frameLength(small, 255), std::nullopt);
  EXPECT_EQ(frameLength(empty, 1024), std::nullopt);
  EXPECT_EQ(frameLength(huge, FrameLimits::kMaxReplyBytes), std::nullopt);
}

TEST(HelperProtocolTest, RepliesCarryBytesAndMessageEachOptional) {
  for (const HelperReply& reply : {HelperReply{std::string("[]\0x", 4), std::nullopt},
                                   HelperReply{std::nullopt, std::string("失败")}, HelperReply{}}) {
    EXPECT_EQ(parseReply(encodeReply(reply)), reply);
  }
  EXPECT_FALSE(parseReply(R"({"data":"***","message":null})"));
  EXPECT_FALSE(parseReply(R"({"data":null})"));
}

TEST(HelperProtocolTest, AnEmptyScanIsTheEmptyJsonArray) {
  EXPECT_EQ(encodeCandidates({}), "[]");
  EXPECT_TRUE(decodeCandidates("[]").empty());
}

TEST(HelperProtocolTest, PayloadsUseTheRecordKeys) {
  EXPECT_EQ(encodeCandidates({{"/var/log/a.log", "systemCaches", 4096}}),
            R"([{"byteSize":4096,"path":"/var/log/a.log","section":"systemCaches"}])");
  const HelperRemoval removal{{"/a"}, {{"/b", "refused"}}, 18446744073709551615ull};
  EXPECT_EQ(decodeRemoval(encodeRemoval(removal)), removal);
}

TEST(HelperProtocolTest, PayloadsThatDoNotDecodeThrowTheDecodersError) {
  EXPECT_THROW(decodeCandidates("{\"path\":1}"), EngineError);
  EXPECT_THROW(decodeRemoval("[]"), EngineError);
  EXPECT_THROW(decodeCandidates("[{\"path\":\"/a\",\"section\":\"s\",\"byteSize\":-1}]"), EngineError);
}

}  // namespace
}  // namespace tidyloom
