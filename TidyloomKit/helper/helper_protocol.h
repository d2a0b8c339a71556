// The wire between the front end and the root daemon: records, selectors, and length-prefixed frames.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/records.h"

namespace tidyloom {

// One row of a system scan as it crosses the wire.
struct HelperCandidate {
  std::string path;
  std::string section;
  std::uint64_t byteSize = 0;
  bool operator==(const HelperCandidate&) const = default;
};

// The result of a removal request.
struct HelperRemoval {
  struct Failure {
    std::string path;
    std::string reason;
    bool operator==(const Failure&) const = default;
  };
  std::vector<std::string> removed;
  std::vector<Failure> failed;
  std::uint64_t freedBytes = 0;
  bool operator==(const HelperRemoval&) const = default;
};

// Payload coding (JSON bytes). Decoding throws EngineError::io with the decoder's message.
std::string encodeCandidates(const std::vector<HelperCandidate>& rows);
std::vector<HelperCandidate> decodeCandidates(std::string_view bytes);
std::string encodeRemoval(const HelperRemoval& removal);
HelperRemoval decodeRemoval(std::string_view bytes);

inline constexpr std::string_view kScanSelector = "scanSystemWithIncludesRebuildableCaches:reply:";
inline constexpr std::string_view kRemoveSelector = "removeSystemPaths:language:reply:";

struct ScanSystemRequest {
  bool includesRebuildableCaches = false;
};
struct RemoveSystemPathsRequest {
  std::vector<std::string> paths;
  std::string language;
};
using HelperRequest = std::variant<ScanSystemRequest, RemoveSystemPathsRequest>;

// What a reply block receives: the payload bytes and an error message, each optional.
struct HelperReply {
  std::optional<std::string> bytes;
  std::optional<std::string> message;
  bool operator==(const HelperReply&) const = default;
};

// Bounds that both ends enforce; anything beyond them ends the connection.
struct FrameLimits {
  // A request holds at most kMaxPaths paths of at most kMaxPathBytes each; the client sends a
  // longer list as several requests.
  static constexpr std::uint32_t kMaxRequestBytes = 1u << 20;
  static constexpr std::uint32_t kMaxReplyBytes = 256u << 20;
  static constexpr size_t kMaxPaths = 1000;
  static constexpr size_t kMaxPathBytes = 4096;
  static constexpr size_t kMaxLanguageBytes = 32;
  // Requests are flat objects with one list; anything nested deeper is refused before parsing.
  static constexpr size_t kMaxRequestDepth = 2;
};

// How deeply arrays and objects nest in a JSON text (strings and escapes skipped); stops counting
// past `limit` and returns limit + 1.
size_t jsonNestingDepth(std::string_view text, size_t limit);

// A frame is a 4-byte big-endian length followed by that many bytes of UTF-8 JSON.
inline constexpr size_t kFrameHeaderBytes = 4;
std::string frame(std::string_view body);
// The body length announced by a header; nothing when it exceeds `limit` or is zero.
std::optional<std::uint32_t> frameLength(const unsigned char (&header)[kFrameHeaderBytes], std::uint32_t limit);

// Message bodies. Parsing returns nothing for anything malformed or out of bounds; the daemon
// then drops the connection without a reply.
std::string encodeRequest(const HelperRequest& request);
std::optional<HelperRequest> parseRequest(std::string_view body);
std::string encodeReply(const HelperReply& reply);
std::optional<HelperReply> parseReply(std::string_view body);

}  // namespace tidyloom
