// HistoryEntry coding in the history file's own format.
#include "history/history_entry.h"

#include <nlohmann/json.hpp>

#include "core/iso8601.h"
#include "core/uuid.h"
#include "history/strict_json.h"

namespace tidyloom {

HistoryEntry HistoryEntry::make(std::string feature, HistoryTimestamp timestamp, std::int64_t itemCount,
                                std::uint64_t freedBytes, std::string mode, std::string status,
                                std::vector<std::string> paths) {
  return {makeUUID(), std::move(feature), timestamp,         itemCount,
          freedBytes, std::move(mode),    std::move(status), std::move(paths)};
}

void to_json(nlohmann::json& j, const HistoryEntry& entry) {
  j = {{"id", entry.id},
       {"feature", entry.feature},
       {"timestamp", formatISO8601(std::chrono::floor<std::chrono::seconds>(entry.timestamp))},
       {"itemCount", entry.itemCount},
       {"freedBytes", entry.freedBytes},
       {"mode", entry.mode},
       {"status", entry.status},
       {"paths", entry.paths}};
}

void from_json(const nlohmann::json& j, HistoryEntry& entry) {
  HistoryEntry out;
  out.id = history_json::uuid(j, "id");
  out.feature = history_json::string(j, "feature");
  out.timestamp = history_json::timestamp(j, "timestamp");
  out.itemCount = history_json::signedInteger(j, "itemCount");
  out.freedBytes = history_json::unsignedInteger(j, "freedBytes");
  out.mode = history_json::string(j, "mode");
  out.status = history_json::string(j, "status");
  const auto& paths = j.at("paths");
  if (!paths.is_array()) throw nlohmann::json::type_error::create(302, "\"paths\" must be an array", &j);
  for (const auto& path : paths) {
    if (!path.is_string()) throw nlohmann::json::type_error::create(302, "\"paths\" must hold strings", &j);
    out.paths.push_back(path.get<std::string>());
  }
  entry = std::move(out);
}

}  // namespace tidyloom

std::size_t std::hash<tidyloom::HistoryEntry>::operator()(const tidyloom::HistoryEntry& entry) const noexcept {
  std::size_t seed = 0;
  const auto mix = [&seed](std::size_t value) { seed ^= value + 0x9E3779B97F4A7C15ULL + (seed << 6) + (seed >> 2); };
  const std::hash<std::string> strings;
  mix(strings(entry.id));
  mix(strings(entry.feature));
  mix(std::hash<std::int64_t>{}(entry.timestamp.time_since_epoch().count()));
  mix(std::hash<std::int64_t>{}(entry.itemCount));
  mix(std::hash<std::uint64_t>{}(entry.freedBytes));
  mix(strings(entry.mode));
  mix(strings(entry.status));
  for (const auto& path : entry.paths) mix(strings(path));
  return seed;
}
