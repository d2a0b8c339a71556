// JSON coding of the shared records.
#include "core/json_coding.h"

#include "core/engine_error.h"

namespace tidyloom {

void to_json(nlohmann::json& j, const FailedPath& value) { j = {{"path", value.path}, {"reason", value.reason}}; }
void from_json(const nlohmann::json& j, FailedPath& value) {
  j.at("path").get_to(value.path);
  j.at("reason").get_to(value.reason);
}

void to_json(nlohmann::json& j, TaskOutcome value) { j = rawValue(value); }
void from_json(const nlohmann::json& j, TaskOutcome& value) {
  const auto parsed = taskOutcomeFromRaw(j.get<std::string>());
  if (!parsed) throw nlohmann::json::other_error::create(501, "unknown task outcome", &j);
  value = *parsed;
}
void to_json(nlohmann::json& j, RemovalMode value) { j = rawValue(value); }
void to_json(nlohmann::json& j, RemovalScope value) { j = rawValue(value); }

void to_json(nlohmann::json& j, const TrashedItem& value) {
  j = {{"path", value.path},
       {"trashFolder", value.trashFolder},
       {"trashedName", value.trashedName},
       {"device", value.device},
       {"inode", value.inode},
       {"birth", value.birth},
       {"byteSize", value.byteSize}};
}
void from_json(const nlohmann::json& j, TrashedItem& value) {
  j.at("path").get_to(value.path);
  j.at("trashFolder").get_to(value.trashFolder);
  j.at("trashedName").get_to(value.trashedName);
  j.at("device").get_to(value.device);
  j.at("inode").get_to(value.inode);
  value.birth = j.value("birth", std::int64_t{0});
  value.byteSize = j.value("byteSize", std::uint64_t{0});
}

void to_json(nlohmann::json& j, const RunReport& value) {
  nlohmann::json outcomes = nlohmann::json::object();
  for (const auto& [task, outcome] : value.taskOutcomes) outcomes[task] = outcome;
  j = {{"removed", value.removed},           {"failed", value.failed},
       {"freedBytes", value.freedBytes},     {"notes", value.notes},
       {"taskOutcomes", outcomes},           {"interrupted", value.interrupted},
       {"trashedBytes", value.trashedBytes}, {"trashed", value.trashed}};
}
void from_json(const nlohmann::json& j, RunReport& value) {
  value = {};
  if (j.contains("removed")) j.at("removed").get_to(value.removed);
  if (j.contains("failed")) j.at("failed").get_to(value.failed);
  if (j.contains("freedBytes")) j.at("freedBytes").get_to(value.freedBytes);
  if (j.contains("notes")) j.at("notes").get_to(value.notes);
  if (j.contains("taskOutcomes")) j.at("taskOutcomes").get_to(value.taskOutcomes);
  if (j.contains("interrupted")) j.at("interrupted").get_to(value.interrupted);
  if (j.contains("trashedBytes")) j.at("trashedBytes").get_to(value.trashedBytes);
  if (j.contains("trashed")) j.at("trashed").get_to(value.trashed);
}

void to_json(nlohmann::json& j, const CleanupCandidate& value) {
  j = {{"path", value.path}, {"section", value.section}, {"byteSize", value.byteSize}, {"removable", value.removable}};
}
void from_json(const nlohmann::json& j, CleanupCandidate& value) {
  j.at("path").get_to(value.path);
  j.at("section").get_to(value.section);
  j.at("byteSize").get_to(value.byteSize);
  value.removable = j.value("removable", true);
}

void to_json(nlohmann::json& j, const ScanProgress& value) {
  j = {{"path", value.path}, {"fraction", nullptr}, {"found", nullptr}};
  if (value.fraction) j["fraction"] = *value.fraction;
  if (value.found) j["found"] = *value.found;
}

std::string dumpEscapingSlashes(const nlohmann::json& j) {
  const std::string plain = j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  std::string out;
  out.reserve(plain.size() + plain.size() / 16);
  // "/" never appears inside an escape sequence of nlohmann's output, so a plain replace is exact.
  for (const char c : plain) {
    if (c == '/') out += '\\';
    out += c;
  }
  return out;
}

}  // namespace tidyloom
