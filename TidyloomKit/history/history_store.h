// HistoryStore: the record of finished runs in "history.json", newest first, at most 200 entries.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "history/history_entry.h"
#include "history/history_export.h"

namespace tidyloom {

// A plain value naming one file: no cache, no lock; every operation reads the file afresh. Appends
// are read-modify-write of the whole file, so callers that append from several threads serialise.
class HistoryStore {
 public:
  static constexpr std::size_t kCapacity = 200;
  static constexpr const char* kFileName = "history.json";

  // Without a location: "history.json" in the application-support folder, which is created if
  // missing (a failure there is left for the first write to report).
  explicit HistoryStore(std::optional<std::filesystem::path> fileURL = std::nullopt);

  std::filesystem::path fileURL;

  // Newest first. A missing, unreadable or undecodable file (one bad entry is enough) is empty.
  std::vector<HistoryEntry> load() const;
  // Puts `entry` first, keeps the newest 200 and rewrites the file atomically. Throws
  // EngineError::io when the file cannot be written; it then keeps its previous content.
  void append(const HistoryEntry& entry) const;
  // The newest `limit` entries as sessions, then each of their paths as one deletion row.
  // A negative limit is a programming error and stops the process.
  QuillHistoryDocument quillDocument(std::int64_t limit) const;
  // quillDocument(limit) pretty-printed with sorted keys and "/" escaped as "\/".
  std::string quillJSON(std::int64_t limit) const;

  // The entries of a history file's contents; nullopt when any part fails to decode.
  static std::optional<std::vector<HistoryEntry>> decode(const std::string& contents);
  // Compact, with "/" escaped and whole-second timestamps.
  static std::string encode(const std::vector<HistoryEntry>& entries);
};

// `name` inside the application-support folder, creating the folder when missing (errors ignored).
std::filesystem::path defaultApplicationSupportFile(const std::string& name);

}  // namespace tidyloom
