// UndoStore: where each item of a run went when it was moved to a Trash, kept in "undo.json" beside
// the history and keyed by the run's history id, so that the run can be put back later. The
// history file itself keeps its own format; this is the one place that knows about Trash moves.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "core/records.h"
#include "history/history_entry.h"

namespace tidyloom {

struct UndoRecord {
  std::string runID;  // the history entry's id
  std::string feature;
  HistoryTimestamp timestamp;
  std::uint64_t trashedBytes = 0;  // what the run moved to a Trash, kept when items come back
  std::vector<TrashedItem> items;  // the items not yet put back, in the run's order
  bool operator==(const UndoRecord&) const = default;
};

// Like the history: a plain value naming one file, read afresh by every call; newest first, at
// most as many runs as the history keeps. Writers serialise through the recording lock.
class UndoStore {
 public:
  static constexpr const char* kFileName = "undo.json";
  static constexpr std::size_t kCapacity = 200;

  explicit UndoStore(std::filesystem::path fileURL) : fileURL(std::move(fileURL)) {}
  std::filesystem::path fileURL;

  // Newest first; a missing or undecodable file holds nothing.
  std::vector<UndoRecord> load() const;
  std::optional<UndoRecord> find(const std::string& runID) const;
  // Puts `record` first and keeps the newest runs. Throws EngineError::io when it cannot write.
  void append(const UndoRecord& record) const;
  // Keeps only `remaining` as the items of `runID` still to put back. Throws EngineError::io.
  void update(const std::string& runID, const std::vector<TrashedItem>& remaining) const;
};

}  // namespace tidyloom
