// HistoryStore: whole-file reads, capped atomic appends, and the export document.
#include "history/history_store.h"

#include <cstdlib>

#include <nlohmann/json.hpp>

#include "core/atomic_write.h"
#include "core/iso8601.h"
#include "core/json_coding.h"
#include "core/scan_roots.h"
#include "platform/user_dirs.h"

namespace tidyloom {
namespace {

std::string escapeSlashes(const std::string& json) {
  std::string out;
  out.reserve(json.size() + json.size() / 16);
  // JSON text has "/" only inside strings and never inside an escape sequence, so this is exact.
  for (const char c : json) {
    if (c == '/') out += '\\';
    out += c;
  }
  return out;
}

}  // namespace

std::filesystem::path defaultApplicationSupportFile(const std::string& name) {
  const auto folder = platform::applicationSupportDirectory(RealHome::url());
  std::error_code ignored;
  std::filesystem::create_directories(folder, ignored);
  return folder / name;
}

HistoryStore::HistoryStore(std::optional<std::filesystem::path> file)
    : fileURL(file ? std::move(*file) : defaultApplicationSupportFile(kFileName)) {}

std::optional<std::vector<HistoryEntry>> HistoryStore::decode(const std::string& contents) {
  try {
    const auto document = nlohmann::json::parse(contents);
    if (!document.is_array()) return std::nullopt;
    return document.get<std::vector<HistoryEntry>>();
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

std::string HistoryStore::encode(const std::vector<HistoryEntry>& entries) {
  return dumpEscapingSlashes(nlohmann::json(entries));
}

std::vector<HistoryEntry> HistoryStore::load() const {
  std::string contents;
  if (!readWholeFile(fileURL, contents)) return {};
  return decode(contents).value_or(std::vector<HistoryEntry>{});
}

void HistoryStore::append(const HistoryEntry& entry) const {
  auto entries = load();
  entries.insert(entries.begin(), entry);
  if (entries.size() > kCapacity) entries.resize(kCapacity);
  writeStoreFile(fileURL, encode(entries), [](const std::string& data) { return decode(data).has_value(); });
}

QuillHistoryDocument HistoryStore::quillDocument(std::int64_t limit) const {
  if (limit < 0) std::abort();  // callers validate user input; reaching this is a bug
  auto entries = load();
  if (entries.size() > static_cast<std::uint64_t>(limit)) entries.resize(static_cast<std::size_t>(limit));

  QuillHistoryDocument document;
  document.limit = limit;
  std::vector<std::string> stamps;
  stamps.reserve(entries.size());
  for (const auto& entry : entries) {
    stamps.push_back(formatISO8601(std::chrono::floor<std::chrono::seconds>(entry.timestamp)));
    document.sessions.push_back({.command = entry.feature,
                                 .runID = entry.id,
                                 .attribution = "run",
                                 .startedAt = stamps.back(),
                                 .endedAt = stamps.back(),
                                 .items = entry.itemCount,
                                 .size = entry.freedBytes,
                                 .operationCount = entry.itemCount,
                                 .failedTasks = entry.status == kHistoryStatusOK ? 0 : 1});
  }
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const auto& entry = entries[i];
    for (const auto& path : entry.paths) {
      // Every row carries the run's whole freed size: consumers of this format expect that.
      document.deletions.push_back({.timestamp = stamps[i],
                                    .mode = entry.mode,
                                    .status = entry.status,
                                    .sizeKB = entry.freedBytes >> 10,
                                    .path = path});
    }
  }
  return document;
}

std::string HistoryStore::quillJSON(std::int64_t limit) const {
  // nlohmann's objects are ordered maps, so keys come out sorted.
  return escapeSlashes(
      nlohmann::json(quillDocument(limit)).dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
}

}  // namespace tidyloom
