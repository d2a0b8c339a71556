// HistoryEntry: one finished run as it is kept in the history file.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace tidyloom {

// A run's finishing time; the history file keeps whole seconds only.
using HistoryTimestamp = std::chrono::system_clock::time_point;

struct HistoryEntry {
  std::string id;  // canonical upper-case UUID text
  std::string feature;
  HistoryTimestamp timestamp;
  std::int64_t itemCount = 0;
  std::uint64_t freedBytes = 0;
  std::string mode;
  std::string status;  // "ok" for a run without failures, any other text otherwise
  std::vector<std::string> paths;

  // A fresh entry with a new id.
  static HistoryEntry make(std::string feature, HistoryTimestamp timestamp, std::int64_t itemCount,
                           std::uint64_t freedBytes, std::string mode, std::string status,
                           std::vector<std::string> paths);

  bool operator==(const HistoryEntry&) const = default;
};

// The status text of a run without failures.
inline constexpr const char* kHistoryStatusOK = "ok";

// The file's keys; the timestamp is written with its fraction dropped.
void to_json(nlohmann::json& j, const HistoryEntry& entry);
// Every key is required; a timestamp with a fraction or an offset, a non-integer count or a
// malformed id throws nlohmann::json::exception.
void from_json(const nlohmann::json& j, HistoryEntry& entry);

}  // namespace tidyloom

template <>
struct std::hash<tidyloom::HistoryEntry> {
  std::size_t operator()(const tidyloom::HistoryEntry& entry) const noexcept;
};
