// JSON coding of the helper's payloads and messages, and the frame header.
#include "helper/helper_protocol.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "core/base64.h"
#include "core/engine_error.h"

namespace tidyloom {
namespace {

using nlohmann::json;

// Linux file names need not be UTF-8; such a name is sent with replacement characters (the daemon's
// re-check then refuses it) rather than failing the whole answer.
std::string dump(const json& document) { return document.dump(-1, ' ', false, json::error_handler_t::replace); }

template <typename Decode>
auto decoding(std::string_view bytes, Decode decode) {
  try {
    return decode(json::parse(bytes));
  } catch (const json::exception& e) {
    throw EngineError::io(e.what());
  }
}

// JSON numbers for sizes must be unsigned integers; a negative or fractional size is not silently cast.
std::uint64_t unsignedSize(const json& value) {
  if (!value.is_number_unsigned()) throw json::type_error::create(302, "size must be an unsigned integer", &value);
  return value.get<std::uint64_t>();
}

bool boundedString(const json& value, size_t limit) {
  return value.is_string() && value.get_ref<const std::string&>().size() <= limit;
}

}  // namespace

std::string encodeCandidates(const std::vector<HelperCandidate>& rows) {
  json out = json::array();
  for (const auto& row : rows)
    out.push_back({{"path", row.path}, {"section", row.section}, {"byteSize", row.byteSize}});
  return dump(out);
}

std::vector<HelperCandidate> decodeCandidates(std::string_view bytes) {
  return decoding(bytes, [](const json& document) {
    if (!document.is_array()) throw json::type_error::create(302, "type must be array", &document);
    std::vector<HelperCandidate> rows;
    for (const auto& row : document) {
      rows.push_back(
          {row.at("path").get<std::string>(), row.at("section").get<std::string>(), unsignedSize(row.at("byteSize"))});
    }
    return rows;
  });
}

std::string encodeRemoval(const HelperRemoval& removal) {
  json failed = json::array();
  for (const auto& failure : removal.failed) failed.push_back({{"path", failure.path}, {"reason", failure.reason}});
  return dump({{"removed", removal.removed}, {"failed", failed}, {"freedBytes", removal.freedBytes}});
}

HelperRemoval decodeRemoval(std::string_view bytes) {
  return decoding(bytes, [](const json& document) {
    HelperRemoval removal;
    removal.removed = document.at("removed").get<std::vector<std::string>>();
    for (const auto& failure : document.at("failed")) {
      removal.failed.push_back({failure.at("path").get<std::string>(), failure.at("reason").get<std::string>()});
    }
    removal.freedBytes = unsignedSize(document.at("freedBytes"));
    return removal;
  });
}

std::string frame(std::string_view body) {
  const auto length = static_cast<std::uint32_t>(body.size());
  std::string out;
  out.reserve(kFrameHeaderBytes + body.size());
  for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>((length >> shift) & 0xff);
  out += body;
  return out;
}

std::optional<std::uint32_t> frameLength(const unsigned char (&header)[kFrameHeaderBytes], std::uint32_t limit) {
  const std::uint32_t length = (std::uint32_t{header[0]} << 24) | (std::uint32_t{header[1]} << 16) |
                               (std::uint32_t{header[2]} << 8) | std::uint32_t{header[3]};
  if (length == 0 || length > limit) return std::nullopt;
  return length;
}

std::string encodeRequest(const HelperRequest& request) {
  if (const auto* scan = std::get_if<ScanSystemRequest>(&request)) {
    return dump({{"selector", kScanSelector}, {"includesRebuildableCaches", scan->includesRebuildableCaches}});
  }
  const auto& remove = std::get<RemoveSystemPathsRequest>(request);
  return dump({{"selector", kRemoveSelector}, {"paths", remove.paths}, {"language", remove.language}});
}

size_t jsonNestingDepth(std::string_view text, size_t limit) {
  size_t depth = 0, deepest = 0;
  bool inString = false, escaped = false;
  for (const char c : text) {
    if (inString) {
      if (escaped) {
        escaped = false;
      } else if (c == '\\') {
        escaped = true;
      } else if (c == '"') {
        inString = false;
      }
      continue;
    }
    if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      deepest = std::max(deepest, ++depth);
      if (deepest > limit) return limit + 1;
    } else if ((c == ']' || c == '}') && depth > 0) {
      --depth;
    }
  }
  return deepest;
}

std::optional<HelperRequest> parseRequest(std::string_view body) {
  // Deep nesting costs the parser memory and stack out of all proportion to the frame's size.
  if (jsonNestingDepth(body, FrameLimits::kMaxRequestDepth) > FrameLimits::kMaxRequestDepth) return std::nullopt;
  const json document = json::parse(body, nullptr, false);
  if (!document.is_object()) return std::nullopt;
  const auto selector = document.find("selector");
  if (selector == document.end() || !selector->is_string()) return std::nullopt;
  if (*selector == kScanSelector) {
    const auto flag = document.find("includesRebuildableCaches");
    if (flag == document.end() || !flag->is_boolean()) return std::nullopt;
    return ScanSystemRequest{flag->get<bool>()};
  }
  if (*selector == kRemoveSelector) {
    const auto paths = document.find("paths");
    const auto language = document.find("language");
    if (paths == document.end() || !paths->is_array() || paths->size() > FrameLimits::kMaxPaths) return std::nullopt;
    if (language == document.end() || !boundedString(*language, FrameLimits::kMaxLanguageBytes)) return std::nullopt;
    RemoveSystemPathsRequest request;
    request.language = language->get<std::string>();
    request.paths.reserve(paths->size());
    for (const auto& path : *paths) {
      if (!boundedString(path, FrameLimits::kMaxPathBytes)) return std::nullopt;
      request.paths.push_back(path.get<std::string>());
    }
    return request;
  }
  return std::nullopt;
}

std::string encodeReply(const HelperReply& reply) {
  json out = json::object();
  out["data"] = reply.bytes ? json(base64Encode(*reply.bytes)) : json(nullptr);
  out["message"] = reply.message ? json(*reply.message) : json(nullptr);
  return dump(out);
}

std::optional<HelperReply> parseReply(std::string_view body) {
  const json document = json::parse(body, nullptr, false);
  if (!document.is_object()) return std::nullopt;
  HelperReply reply;
  const auto data = document.find("data");
  const auto message = document.find("message");
  if (data == document.end() || message == document.end()) return std::nullopt;
  if (data->is_string()) {
    reply.bytes = base64Decode(data->get<std::string>());
    if (!reply.bytes) return std::nullopt;
  } else if (!data->is_null()) {
    return std::nullopt;
  }
  if (message->is_string()) {
    reply.message = message->get<std::string>();
  } else if (!message->is_null()) {
    return std::nullopt;
  }
  return reply;
}

}  // namespace tidyloom
