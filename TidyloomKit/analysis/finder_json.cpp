// JSON coding of large-file items, duplicate groups and the finders' results.
#include "analysis/finder_json.h"

#include "core/iso8601.h"

namespace tidyloom {

nlohmann::json toJson(const LargeFileItem& item, FileTime now) {
  return {
      {"path", item.path},
      {"name", item.name()},
      {"size", item.size},
      {"fileSize", item.fileSize},
      {"lastUsed", formatISO8601(std::chrono::floor<std::chrono::seconds>(item.lastUsed))},
      {"isPackage", item.isPackage},
      {"kind", rawValue(item.kind)},
      {"sizeBand", rawValue(item.sizeBand())},
      {"ageBand", rawValue(item.ageBand(now))},
  };
}

nlohmann::json toJson(const LargeFileScanResult& result, FileTime now) {
  nlohmann::json items = nlohmann::json::array();
  for (const auto& item : result.items) items.push_back(toJson(item, now));
  return {{"items", std::move(items)}, {"completed", result.completed}};
}

nlohmann::json toJson(const DuplicateGroup& group, FileTime now) {
  nlohmann::json files = nlohmann::json::array();
  for (const auto& file : group.files) files.push_back(toJson(file, now));
  const auto keeper = group.keeper();
  return {
      {"id", group.id},
      {"name", group.name},
      {"size", group.size},
      {"kind", rawValue(group.kind())},
      {"keeper", keeper ? nlohmann::json(keeper->path) : nlohmann::json(nullptr)},
      {"wastedBytes", group.wastedBytes()},
      {"files", std::move(files)},
  };
}

nlohmann::json toJson(const DuplicateScanResult& result, FileTime now) {
  nlohmann::json groups = nlohmann::json::array();
  for (const auto& group : result.groups) groups.push_back(toJson(group, now));
  return {{"groups", std::move(groups)}, {"completed", result.completed}};
}

}  // namespace tidyloom
