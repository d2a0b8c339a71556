// Strict field readers: the files must match their format exactly or be treated as unreadable.
#include "history/strict_json.h"

#include <algorithm>
#include <limits>

#include "core/uuid.h"

namespace tidyloom::history_json {
namespace {

[[noreturn]] void reject(const nlohmann::json& object, const char* key, const char* expected) {
  throw nlohmann::json::type_error::create(302, std::string("\"") + key + "\" must be " + expected, &object);
}

}  // namespace

std::string string(const nlohmann::json& object, const char* key) {
  const auto& value = object.at(key);
  if (!value.is_string()) reject(object, key, "a string");
  return value.get<std::string>();
}

std::int64_t signedInteger(const nlohmann::json& object, const char* key) {
  const auto& value = object.at(key);
  if (value.is_number_unsigned()) {
    const auto raw = value.get<std::uint64_t>();
    if (raw > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
      reject(object, key, "a signed 64-bit integer");
    }
    return static_cast<std::int64_t>(raw);
  }
  if (!value.is_number_integer()) reject(object, key, "an integer");
  return value.get<std::int64_t>();
}

std::uint64_t unsignedInteger(const nlohmann::json& object, const char* key) {
  // The parser keeps every non-negative integer as unsigned, so anything else is negative or a fraction.
  const auto& value = object.at(key);
  if (!value.is_number_unsigned()) reject(object, key, "an unsigned integer");
  return value.get<std::uint64_t>();
}

SystemTime timestamp(const nlohmann::json& object, const char* key) {
  const auto parsed = parseISO8601(string(object, key));
  if (!parsed) reject(object, key, "a UTC date-time with whole seconds");
  // The stores keep times at the system clock's resolution, which ends in the year 2262.
  using std::chrono::system_clock;
  constexpr auto latest = std::chrono::floor<std::chrono::seconds>(system_clock::duration::max());
  constexpr auto earliest = std::chrono::ceil<std::chrono::seconds>(system_clock::duration::min());
  if (parsed->time_since_epoch() > latest || parsed->time_since_epoch() < earliest) {
    reject(object, key, "a date the system clock can hold");
  }
  return *parsed;
}

std::string uuid(const nlohmann::json& object, const char* key) {
  std::string text = string(object, key);
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c; });
  if (!isCanonicalUUID(text)) reject(object, key, "a UUID");
  return text;
}

}  // namespace tidyloom::history_json
