// UsageStats coding and calendar-day counting (time zones from ICU).
#include "history/usage_stats.h"

#include <unicode/timezone.h>

#include <algorithm>
#include <memory>

#include <nlohmann/json.hpp>

#include "core/iso8601.h"
#include "history/strict_json.h"

namespace tidyloom {
namespace {

// The local calendar date of `time` in `zone`, as a count of days since 1970-01-01.
std::optional<std::int64_t> localDay(const icu::TimeZone& zone, HistoryTimestamp time) {
  using namespace std::chrono;
  const auto millis = floor<milliseconds>(time).time_since_epoch().count();
  int32_t rawOffset = 0;
  int32_t dstOffset = 0;
  UErrorCode status = U_ZERO_ERROR;
  zone.getOffset(static_cast<UDate>(millis), false, rawOffset, dstOffset, status);
  if (U_FAILURE(status)) return std::nullopt;
  const milliseconds local{millis + rawOffset + dstOffset};
  return floor<days>(local).count();
}

}  // namespace

Calendar Calendar::current() {
  const std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createDefault());
  icu::UnicodeString id;
  zone->getID(id);
  std::string utf8;
  id.toUTF8String(utf8);
  return Calendar(std::move(utf8));
}

Calendar Calendar::inTimeZone(std::string zoneID) { return Calendar(std::move(zoneID)); }

std::optional<std::int64_t> Calendar::daysBetween(HistoryTimestamp from, HistoryTimestamp to) const {
  const std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(zoneID_)));
  if (!zone) return std::nullopt;
  const auto first = localDay(*zone, from);
  const auto last = localDay(*zone, to);
  if (!first || !last) return std::nullopt;
  return *last - *first;
}

std::int64_t UsageStats::days(HistoryTimestamp asOf, const Calendar& calendar) const {
  const std::int64_t between = calendar.daysBetween(firstUse, asOf).value_or(0);
  return std::max<std::int64_t>(between + 1, 1);
}

void to_json(nlohmann::json& j, const UsageStats& stats) {
  j = {{"firstUse", formatISO8601(std::chrono::floor<std::chrono::seconds>(stats.firstUse))},
       {"freedBytes", stats.freedBytes},
       {"scannedFiles", stats.scannedFiles}};
  // Written only once there is something to say, so the file keeps its three keys until then.
  if (stats.trashedBytes != 0) j["trashedBytes"] = stats.trashedBytes;
}

void from_json(const nlohmann::json& j, UsageStats& stats) {
  UsageStats out;
  out.firstUse = history_json::timestamp(j, "firstUse");
  out.freedBytes = history_json::unsignedInteger(j, "freedBytes");
  out.scannedFiles = history_json::unsignedInteger(j, "scannedFiles");
  if (j.contains("trashedBytes")) out.trashedBytes = history_json::unsignedInteger(j, "trashedBytes");
  stats = out;
}

}  // namespace tidyloom
