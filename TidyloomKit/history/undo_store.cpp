// UndoStore: a compact JSON object {"runs": [...]} written atomically, newest run first.
#include "history/undo_store.h"

#include <chrono>

#include <nlohmann/json.hpp>

#include "core/atomic_write.h"
#include "core/iso8601.h"
#include "core/json_coding.h"
#include "history/strict_json.h"

namespace tidyloom {
namespace {

nlohmann::json encodeRecord(const UndoRecord& record) {
  return {{"runID", record.runID},
          {"feature", record.feature},
          {"timestamp", formatISO8601(std::chrono::floor<std::chrono::seconds>(record.timestamp))},
          {"trashedBytes", record.trashedBytes},
          {"items", record.items}};
}

UndoRecord decodeRecord(const nlohmann::json& j) {
  UndoRecord record;
  j.at("runID").get_to(record.runID);
  j.at("feature").get_to(record.feature);
  record.timestamp = history_json::timestamp(j, "timestamp");
  j.at("trashedBytes").get_to(record.trashedBytes);
  j.at("items").get_to(record.items);
  return record;
}

std::optional<std::vector<UndoRecord>> decode(const std::string& contents) {
  try {
    std::vector<UndoRecord> records;
    const auto document = nlohmann::json::parse(contents);
    for (const auto& run : document.at("runs")) records.push_back(decodeRecord(run));
    return records;
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

void save(const std::filesystem::path& file, const std::vector<UndoRecord>& records) {
  nlohmann::json runs = nlohmann::json::array();
  for (const auto& record : records) runs.push_back(encodeRecord(record));
  writeStoreFile(file, nlohmann::json{{"runs", runs}}.dump(),
                 [](const std::string& data) { return decode(data).has_value(); });
}

}  // namespace

std::vector<UndoRecord> UndoStore::load() const {
  std::string contents;
  if (!readWholeFile(fileURL, contents)) return {};
  return decode(contents).value_or(std::vector<UndoRecord>{});
}

std::optional<UndoRecord> UndoStore::find(const std::string& runID) const {
  for (auto& record : load()) {
    if (record.runID == runID) return record;
  }
  return std::nullopt;
}

void UndoStore::append(const UndoRecord& record) const {
  auto records = load();
  records.insert(records.begin(), record);
  if (records.size() > kCapacity) records.resize(kCapacity);
  save(fileURL, records);
}

void UndoStore::update(const std::string& runID, const std::vector<TrashedItem>& remaining) const {
  auto records = load();
  for (auto& record : records) {
    if (record.runID == runID) record.items = remaining;
  }
  save(fileURL, records);
}

}  // namespace tidyloom
