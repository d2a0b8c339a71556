// JSON coding of the history export records.
#include "history/history_export.h"

#include <nlohmann/json.hpp>

#include "history/strict_json.h"

namespace tidyloom {

void to_json(nlohmann::json& j, const QuillHistorySession& value) {
  j = {{"command", value.command},
       {"run_id", value.runID},
       {"attribution", value.attribution},
       {"started_at", value.startedAt},
       {"ended_at", value.endedAt},
       {"items", value.items},
       {"size", value.size},
       {"operation_count", value.operationCount},
       {"failed_tasks", value.failedTasks}};
}

void from_json(const nlohmann::json& j, QuillHistorySession& value) {
  value.command = history_json::string(j, "command");
  value.runID = history_json::string(j, "run_id");
  value.attribution = history_json::string(j, "attribution");
  value.startedAt = history_json::string(j, "started_at");
  value.endedAt = history_json::string(j, "ended_at");
  value.items = history_json::signedInteger(j, "items");
  value.size = history_json::unsignedInteger(j, "size");
  value.operationCount = history_json::signedInteger(j, "operation_count");
  value.failedTasks = history_json::signedInteger(j, "failed_tasks");
}

void to_json(nlohmann::json& j, const QuillHistoryDeletion& value) {
  j = {{"timestamp", value.timestamp},
       {"mode", value.mode},
       {"status", value.status},
       {"size_kb", value.sizeKB},
       {"path", value.path}};
}

void from_json(const nlohmann::json& j, QuillHistoryDeletion& value) {
  value.timestamp = history_json::string(j, "timestamp");
  value.mode = history_json::string(j, "mode");
  value.status = history_json::string(j, "status");
  value.sizeKB = history_json::unsignedInteger(j, "size_kb");
  value.path = history_json::string(j, "path");
}

void to_json(nlohmann::json& j, const QuillHistoryDocument& value) {
  j = {{"limit", value.limit}, {"sessions", value.sessions}, {"deletions", value.deletions}};
}

void from_json(const nlohmann::json& j, QuillHistoryDocument& value) {
  value.limit = history_json::signedInteger(j, "limit");
  value.sessions = j.at("sessions").get<std::vector<QuillHistorySession>>();
  value.deletions = j.at("deletions").get<std::vector<QuillHistoryDeletion>>();
}

}  // namespace tidyloom
