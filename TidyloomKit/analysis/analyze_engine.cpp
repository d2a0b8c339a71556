// Directory analysis: shallow listings measured with FileMeasure, and the overview of a home.
#include "analysis/analyze_engine.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "core/checked_sum.h"
#include "core/engine_error.h"
#include "l10n/l10n.h"
#include "platform/bulk_reader.h"
#include "platform/mounts.h"
#include "removal/file_measure.h"

namespace tidyloom {
namespace fs = std::filesystem;

namespace {

constexpr std::uint64_t kLargeFileThreshold = 9'999'999;

bool isHidden(std::string_view name) { return name.starts_with('.'); }

void sortBySizeKeepingOrder(std::vector<DiskEntry>& entries) {
  std::stable_sort(entries.begin(), entries.end(),
                   [](const DiskEntry& a, const DiskEntry& b) { return a.size > b.size; });
}

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c); });
  return text;
}

// Sum of the logical sizes of the regular, non-hidden files directly inside `folder`; with
// `descend`, also of those one folder further down.
std::uint64_t filesBelow(const std::string& folder, bool skipProtected, bool descend) {
  platform::DirectoryReader reader(folder);
  std::uint64_t sum = 0;
  (void)reader.read({}, [&](const platform::BulkEntry& entry) {
    if (isHidden(entry.name)) return;
    if (skipProtected && AnalyzeEngine::isProtectedName(std::string(entry.name))) return;
    if (entry.error != 0) return;
    if (entry.kind == platform::EntryKind::regular) {
      sum = checkedSum(sum, entry.logicalBytes);
    } else if (entry.kind == platform::EntryKind::directory && descend) {
      sum = checkedSum(sum, filesBelow(folder + "/" + std::string(entry.name), skipProtected, false));
    }
  });
  return sum;
}

}  // namespace

void to_json(nlohmann::json& json, const DiskEntry& entry) {
  json = nlohmann::json{{"name", entry.name},
                        {"path", entry.path},
                        {"size", entry.size},
                        {"is_dir", entry.isDir},
                        {"scan_status", entry.scanStatus},
                        {"insight", entry.insight},
                        {"cleanable", entry.cleanable}};
}

void from_json(const nlohmann::json& json, DiskEntry& entry) {
  json.at("name").get_to(entry.name);
  json.at("path").get_to(entry.path);
  json.at("size").get_to(entry.size);
  json.at("is_dir").get_to(entry.isDir);
  json.at("scan_status").get_to(entry.scanStatus);
  json.at("insight").get_to(entry.insight);
  json.at("cleanable").get_to(entry.cleanable);
}

void to_json(nlohmann::json& json, const AnalyzeReport& report) {
  json = nlohmann::json{{"path", report.path},
                        {"scan_status", report.scanStatus},
                        {"total_size", report.totalSize},
                        {"total_files", report.totalFiles},
                        {"large_files", report.largeFiles},
                        {"entries", report.entries}};
}

void from_json(const nlohmann::json& json, AnalyzeReport& report) {
  json.at("path").get_to(report.path);
  json.at("scan_status").get_to(report.scanStatus);
  json.at("total_size").get_to(report.totalSize);
  json.at("total_files").get_to(report.totalFiles);
  json.at("large_files").get_to(report.largeFiles);
  json.at("entries").get_to(report.entries);
}

const std::unordered_set<std::string>& AnalyzeEngine::insightNames() {
  static const std::unordered_set<std::string> names{"Backup",  "MobileSync", "DerivedData", "Android",
                                                     "Library", "Caches",     "node_modules"};
  return names;
}

const std::unordered_set<std::string>& AnalyzeEngine::cleanableNames() {
  static const std::unordered_set<std::string> names{"Caches",       "Cache",  "logs", "Logs", "DerivedData",
                                                     "node_modules", ".Trash", "tmp",  "Temp"};
  return names;
}

bool AnalyzeEngine::isProtectedName(const std::string& name) {
  static const std::unordered_set<std::string> names{"desktop",
                                                     "documents",
                                                     "downloads",
                                                     "movies",
                                                     "music",
                                                     "pictures",
                                                     "photos",
                                                     "photo booth",
                                                     "cloudstorage",
                                                     "mobile documents",
                                                     "containers",
                                                     "group containers",
                                                     "com.apple.music",
                                                     "com.apple.desktop.photos",
                                                     "com.apple.photos",
                                                     "com.apple.mediaanalysisd",
                                                     "photolibraryd"};
  const std::string lowered = lower(name);
  return names.contains(lowered) || lowered.starts_with("com.apple.photos") || lowered.starts_with("com.apple.music");
}

AnalyzeReport AnalyzeEngine::report(const fs::path& path, std::int64_t limit) const {
  AnalyzeReport result;
  result.path = path.string();
  // The folder itself may be reached through a link the person chose; its children are not followed.
  std::error_code ec;
  const auto folder = fs::canonical(path, ec);
  platform::DirectoryReader reader(ec ? path.string() : folder.string());
  struct Child {
    std::string name;
    bool isDir;
  };
  std::vector<Child> children;
  const bool listed = reader.isOpen() && reader.read({}, [&](const platform::BulkEntry& entry) {
    if (!isHidden(entry.name))
      children.push_back({std::string(entry.name), entry.kind == platform::EntryKind::directory});
  });
  if (!listed) {
    result.scanStatus = "unavailable";
    return result;
  }

  std::vector<DiskEntry> entries;
  entries.reserve(children.size());
  for (const auto& child : children) {
    if (stopToken.stop_requested()) throw EngineError::cancelled();
    const fs::path childPath = path / child.name;
    const auto size = FileMeasure::byteSize(childPath, tally);
    result.totalSize = checkedSum(result.totalSize, size);
    if (!child.isDir) ++result.totalFiles;
    entries.push_back({child.name, childPath.string(), size, child.isDir, "complete",
                       insightNames().contains(child.name), cleanableNames().contains(child.name)});
  }
  sortBySizeKeepingOrder(entries);
  if (limit >= 0 && static_cast<std::uint64_t>(limit) < entries.size()) entries.resize(static_cast<size_t>(limit));
  for (const auto& entry : entries) {
    if (!entry.isDir && entry.size > kLargeFileThreshold) result.largeFiles.push_back(entry);
  }
  result.entries = std::move(entries);
  return result;
}

std::vector<DiskEntry> AnalyzeEngine::list(const fs::path& path, std::int64_t limit) const {
  return report(path, limit).entries;
}

std::string AnalyzeEngine::json(const fs::path& path) const {
  // nlohmann's objects keep their keys sorted.
  return nlohmann::json(report(path, 40)).dump(2);
}

AnalyzeReport AnalyzeEngine::overview(const fs::path& home, bool skipProtectedDirectories) const {
  std::vector<fs::path> candidates;
  if (!skipProtectedDirectories) {
    for (const char* name : {"Library", "Downloads", "Documents", "Desktop", "Movies", "Music"}) {
      candidates.push_back(home / name);
    }
    candidates.push_back(systemApplications);
    if (listsVolumes) {
      for (const auto& volume : overviewVolumes(mountTable())) candidates.push_back(volume);
    }
  } else {
    for (const char* name : {"Library/Caches", "Library/Logs", "Library/Developer", "Applications"}) {
      candidates.push_back(home / name);
    }
  }

  AnalyzeReport result;
  result.path = home.string();
  const auto standardHome = home.lexically_normal();
  for (const auto& candidate : candidates) {
    if (stopToken.stop_requested()) throw EngineError::cancelled();
    std::error_code ec;
    if (!fs::exists(candidate, ec)) continue;
    const auto size = shallowByteSize(candidate, skipProtectedDirectories);
    result.totalSize = checkedSum(result.totalSize, size);
    const std::string last = candidate.filename().string();
    std::string name = last;
    if (skipProtectedDirectories && last == "Applications" &&
        candidate.parent_path().lexically_normal() == standardHome) {
      name = L10n::translate("用户应用");
    }
    result.entries.push_back({name, candidate.string(), size, true, "complete",
                              insightNames().contains(last) || last == "Library", cleanableNames().contains(last)});
  }
  sortBySizeKeepingOrder(result.entries);
  result.totalFiles = static_cast<std::int64_t>(result.entries.size());
  return result;
}

std::uint64_t AnalyzeEngine::shallowByteSize(const fs::path& url, bool skipProtected) {
  std::error_code ec;
  const auto status = fs::status(url, ec);
  if (ec || !fs::exists(status)) return 0;
  if (!fs::is_directory(status)) return FileMeasure::byteSize(url);
  const auto folder = fs::canonical(url, ec);
  return filesBelow(ec ? url.string() : folder.string(), skipProtected, true);
}

std::vector<AnalyzeEngine::MountRecord> AnalyzeEngine::mountTable() {
  std::vector<MountRecord> records;
  for (auto& entry : platform::mountTable()) records.push_back({entry.path, entry.device, entry.flags});
  return records;
}

AnalyzeEngine::VolumeRule AnalyzeEngine::VolumeRule::platform() {
  return {platform::volumeFolders(), platform::blockDevicePrefix()};
}

std::vector<fs::path> AnalyzeEngine::overviewVolumes(const std::vector<MountRecord>& records, const VolumeRule& rule) {
  constexpr std::uint32_t kJudged = platform::kMountReadOnly | platform::kMountLocal | platform::kMountDontBrowse;
  std::vector<fs::path> volumes;
  std::unordered_set<std::string> kept;
  for (const auto& record : records) {
    if ((record.flags & kJudged) != platform::kMountLocal) continue;
    if (!record.device.starts_with(rule.devicePrefix)) continue;
    const fs::path mount(record.path);
    const auto parent = mount.parent_path().string();
    if (std::find(rule.parentFolders.begin(), rule.parentFolders.end(), parent) == rule.parentFolders.end()) continue;
    std::string standard = mount.lexically_normal().string();
    while (standard.size() > 1 && standard.back() == '/') standard.pop_back();
    if (standard != record.path) continue;
    if (std::any_of(mount.begin(), mount.end(), [](const fs::path& part) { return part == ".."; })) continue;
    if (!kept.insert(record.path).second) continue;
    volumes.push_back(mount);
  }
  return volumes;
}

}  // namespace tidyloom
