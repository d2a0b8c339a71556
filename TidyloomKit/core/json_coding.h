// JSON coding of the shared records (keys are the field names).
#pragma once

#include <nlohmann/json.hpp>

#include "core/records.h"
#include "core/scan_progress.h"

namespace tidyloom {

void to_json(nlohmann::json& j, const FailedPath& value);
void from_json(const nlohmann::json& j, FailedPath& value);
void to_json(nlohmann::json& j, const TrashedItem& value);
void from_json(const nlohmann::json& j, TrashedItem& value);
void to_json(nlohmann::json& j, const RunReport& value);
void from_json(const nlohmann::json& j, RunReport& value);
void to_json(nlohmann::json& j, const CleanupCandidate& value);
void from_json(const nlohmann::json& j, CleanupCandidate& value);
void to_json(nlohmann::json& j, TaskOutcome value);
void from_json(const nlohmann::json& j, TaskOutcome& value);
void to_json(nlohmann::json& j, RemovalMode value);
void to_json(nlohmann::json& j, RemovalScope value);
void to_json(nlohmann::json& j, const ScanProgress& value);

// Compact JSON as written by the stores ("/" escaped as "\/", as other tools of the platform do).
std::string dumpEscapingSlashes(const nlohmann::json& j);

}  // namespace tidyloom
