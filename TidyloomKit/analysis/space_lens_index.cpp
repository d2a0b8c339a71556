// Listings from a space-lens index: indexed folders from the index, the rest from one bulk read.
#include "analysis/space_lens_index.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

#include "analysis/natural_order.h"
#include "core/checked_sum.h"
#include "platform/bulk_reader.h"

namespace tidyloom {

bool SpaceLensIndex::canList(const std::string& path) const {
  if (path == rootPath) return depth > 0;
  const std::string prefix = rootPath == "/" ? "/" : rootPath + "/";
  if (!path.starts_with(prefix)) return false;
  std::int64_t components = 0;
  std::string_view rest(path);
  rest.remove_prefix(prefix.size());
  while (!rest.empty()) {
    const auto slash = rest.find('/');
    if (slash != 0) ++components;
    if (slash == std::string_view::npos) break;
    rest.remove_prefix(slash + 1);
  }
  return components < depth;
}

std::optional<SpaceLensListing> SpaceLensIndex::listing(const std::string& path, std::int64_t limit) const {
  if (!canList(path)) return std::nullopt;
  platform::DirectoryReader folder(path);
  if (!folder.isOpen()) return std::nullopt;

  std::vector<SpaceLensItem> rows;
  const bool listed = folder.read({}, [&](const platform::BulkEntry& entry) {
    std::string child = SpaceLens::childPath(path, entry.name);
    if (const auto found = directories.find(child); found != directories.end()) {
      rows.push_back({std::string(entry.name), std::move(child), found->second.bytes, true, found->second.items, {}});
      return;
    }
    if (SpaceLens::isSkipped(path, entry.name)) return;
    // Judged by name alone, as the walk does: such a folder was never measured.
    if (const auto excluded = SpaceLens::exclusion(path, entry.name, skipsProtected, home)) {
      rows.push_back({std::string(entry.name), std::move(child), 0, true, std::nullopt, excluded});
      return;
    }
    if (entry.error != 0) return;
    switch (entry.kind) {
      case platform::EntryKind::regular:
        rows.push_back({std::string(entry.name), std::move(child), platform::countedBytes(entry), false, {}, {}});
        break;
      case platform::EntryKind::directory:
        // Never walked: another volume, a mount point, or below the index's depth.
        rows.push_back({std::string(entry.name), std::move(child), 0, true, 0, {}});
        break;
      default:
        rows.push_back({std::string(entry.name), std::move(child), 0, false, {}, {}});
        break;
    }
  });
  if (!listed) return std::nullopt;

  SpaceLensListing result;
  result.path = path;
  for (const auto& row : rows) result.totalSize = checkedSum(result.totalSize, row.size);
  const NaturalOrder natural;
  std::sort(rows.begin(), rows.end(), [&](const SpaceLensItem& a, const SpaceLensItem& b) {
    if (a.size != b.size) return a.size > b.size;
    return natural(a.name, b.name);
  });
  const auto kept = static_cast<size_t>(std::clamp<std::int64_t>(limit, 0, static_cast<std::int64_t>(rows.size())));
  result.omittedCount = static_cast<std::int64_t>(rows.size() - kept);
  rows.resize(kept);
  result.items = std::move(rows);
  return result;
}

void to_json(nlohmann::json& json, const SpaceLensIndex& index) {
  nlohmann::json directories = nlohmann::json::object();
  for (const auto& [path, stat] : index.directories) {
    directories[path] = {{"bytes", stat.bytes}, {"items", stat.items}};
  }
  json = nlohmann::json{{"rootPath", index.rootPath},   {"totalSize", index.totalSize},
                        {"completed", index.completed}, {"skipsProtected", index.skipsProtected},
                        {"depth", index.depth},         {"directories", std::move(directories)}};
}

}  // namespace tidyloom
