// UsageStatsStore: load with seeding from the history, and wrap-around accumulation.
#include "history/usage_stats_store.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "core/atomic_write.h"
#include "core/engine_error.h"
#include "core/json_coding.h"

namespace tidyloom {
namespace {

std::optional<UsageStats> decode(const std::string& contents) {
  try {
    return nlohmann::json::parse(contents).get<UsageStats>();
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

void save(const std::filesystem::path& file, const UsageStats& stats) {
  writeStoreFile(file, dumpEscapingSlashes(nlohmann::json(stats)),
                 [](const std::string& data) { return decode(data).has_value(); });
}

}  // namespace

UsageStatsStore::UsageStatsStore(std::optional<std::filesystem::path> file, HistoryStore historyStore)
    : fileURL(file ? std::move(*file) : defaultApplicationSupportFile(kFileName)), history(std::move(historyStore)) {}

UsageStats UsageStatsStore::load(HistoryTimestamp now) const {
  std::string contents;
  if (readWholeFile(fileURL, contents)) {
    if (auto stats = decode(contents)) return *stats;
  }
  UsageStats seeded{.firstUse = now, .freedBytes = 0, .scannedFiles = 0, .trashedBytes = 0};
  for (const auto& entry : history.load()) {
    seeded.firstUse = std::min(seeded.firstUse, entry.timestamp);
    seeded.freedBytes += entry.freedBytes;  // unsigned: wraps around by definition
  }
  try {
    save(fileURL, seeded);
  } catch (const EngineError&) {
    // Reading never fails: the next call seeds again.
  }
  return seeded;
}

UsageStats UsageStatsStore::record(std::uint64_t freedBytes, std::uint64_t scannedFiles, HistoryTimestamp now,
                                   std::uint64_t trashedBytes) const {
  UsageStats stats = load(now);
  stats.freedBytes += freedBytes;
  stats.scannedFiles += scannedFiles;
  stats.trashedBytes += trashedBytes;
  save(fileURL, stats);
  return stats;
}

}  // namespace tidyloom
