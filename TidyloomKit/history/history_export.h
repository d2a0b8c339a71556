// The history export: the session/deletion document that the Quill command-line tool reads and writes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace tidyloom {

struct QuillHistorySession {
  std::string command;
  std::string runID;
  std::string attribution;
  std::string startedAt;
  std::string endedAt;
  std::int64_t items = 0;
  std::uint64_t size = 0;  // bytes
  std::int64_t operationCount = 0;
  std::int64_t failedTasks = 0;
  bool operator==(const QuillHistorySession&) const = default;
};

struct QuillHistoryDeletion {
  std::string timestamp;
  std::string mode;
  std::string status;
  std::uint64_t sizeKB = 0;  // the whole run's freed bytes in KiB, repeated on each of its rows
  std::string path;
  bool operator==(const QuillHistoryDeletion&) const = default;
};

struct QuillHistoryDocument {
  std::int64_t limit = 0;  // the limit asked for, not the number of sessions
  std::vector<QuillHistorySession> sessions;
  std::vector<QuillHistoryDeletion> deletions;
  bool operator==(const QuillHistoryDocument&) const = default;
};

// Keys "command", "run_id", ... as the consumer expects; decoding requires every key and throws
// nlohmann::json::exception otherwise.
void to_json(nlohmann::json& j, const QuillHistorySession& value);
void from_json(const nlohmann::json& j, QuillHistorySession& value);
void to_json(nlohmann::json& j, const QuillHistoryDeletion& value);
void from_json(const nlohmann::json& j, QuillHistoryDeletion& value);
void to_json(nlohmann::json& j, const QuillHistoryDocument& value);
void from_json(const nlohmann::json& j, QuillHistoryDocument& value);

}  // namespace tidyloom
