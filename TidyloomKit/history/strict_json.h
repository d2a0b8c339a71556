// Strict field readers for the history files: a missing key or a value of the wrong kind throws.
#pragma once

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

#include "core/iso8601.h"

namespace tidyloom::history_json {

// Each throws nlohmann::json::exception when `key` is missing or holds another kind of value.
std::string string(const nlohmann::json& object, const char* key);
std::int64_t signedInteger(const nlohmann::json& object, const char* key);
std::uint64_t unsignedInteger(const nlohmann::json& object, const char* key);
// "YYYY-MM-DDTHH:MM:SSZ" only: fractions and offsets are rejected.
SystemTime timestamp(const nlohmann::json& object, const char* key);
// Canonical UUID text; lower-case digits are accepted and returned in upper case.
std::string uuid(const nlohmann::json& object, const char* key);

}  // namespace tidyloom::history_json
