// UsageStatsStore: the running totals in "usage-stats.json", seeded once from the run history.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

#include "history/history_store.h"
#include "history/usage_stats.h"

namespace tidyloom {

// No lock and no cache: each record() is a read-modify-write of the file, serialised by the caller.
class UsageStatsStore {
 public:
  static constexpr const char* kFileName = "usage-stats.json";

  // Without a location: "usage-stats.json" beside the history in the application-support folder.
  UsageStatsStore(std::optional<std::filesystem::path> fileURL, HistoryStore history);

  std::filesystem::path fileURL;
  HistoryStore history;

  // The saved totals; when the file is missing or undecodable, totals seeded from the history
  // (saved when possible, returned either way). Never fails.
  UsageStats load(HistoryTimestamp now) const;
  // Adds to both totals with wrap-around and saves. Throws EngineError::io when the file cannot be
  // written; it then keeps its previous content.
  // `trashedBytes` (moved to a Trash, not freed) is added to its own total.
  UsageStats record(std::uint64_t freedBytes, std::uint64_t scannedFiles, HistoryTimestamp now,
                    std::uint64_t trashedBytes = 0) const;
};

}  // namespace tidyloom
