// UsageStats: since when the application is used, bytes freed in all, files scanned in all.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "history/history_entry.h"

namespace tidyloom {

// The Gregorian calendar in one time zone, for counting calendar days the way the user sees them.
class Calendar {
 public:
  // The user's local time zone.
  static Calendar current();
  // An IANA zone such as "Europe/Berlin" or "UTC"; unknown names behave as UTC.
  static Calendar inTimeZone(std::string zoneID);

  const std::string& timeZoneID() const { return zoneID_; }
  // Whole days from the calendar day of `from` to that of `to` (negative when `to` is earlier);
  // nullopt when the time zone cannot be evaluated.
  std::optional<std::int64_t> daysBetween(HistoryTimestamp from, HistoryTimestamp to) const;

 private:
  explicit Calendar(std::string zoneID) : zoneID_(std::move(zoneID)) {}
  std::string zoneID_;
};

struct UsageStats {
  HistoryTimestamp firstUse;
  std::uint64_t freedBytes = 0;
  std::uint64_t scannedFiles = 0;
  // Bytes moved to a Trash in all: kept apart from freed bytes, since nothing is freed until the
  // Trash is emptied. Optional in the file ("trashedBytes", written when not 0), 0 when absent.
  std::uint64_t trashedBytes = 0;

  // Calendar days of use, counting the day of first use as day 1; never less than 1.
  std::int64_t days(HistoryTimestamp asOf, const Calendar& calendar) const;

  bool operator==(const UsageStats&) const = default;
};

// "firstUse" as a whole-second UTC date-time; decoding requires "firstUse", "freedBytes" and
// "scannedFiles".
void to_json(nlohmann::json& j, const UsageStats& stats);
void from_json(const nlohmann::json& j, UsageStats& stats);

}  // namespace tidyloom
