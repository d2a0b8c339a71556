// AnalyzeEngine: what is inside a folder, biggest first, and where the space of a home goes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stop_token>
#include <string>
#include <unordered_set>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "core/scan_progress.h"

namespace tidyloom {

struct DiskEntry {
  std::string name;
  std::string path;  // also the entry's identity
  std::uint64_t size = 0;
  bool isDir = false;
  std::string scanStatus = "complete";
  bool insight = false;    // a name that deserves a closer look
  bool cleanable = false;  // a typical cache or temporary folder that cleaning can shrink

  bool operator==(const DiskEntry&) const = default;
};

struct AnalyzeReport {
  std::string scanStatus = "complete";  // or "unavailable"
  std::string path;
  std::uint64_t totalSize = 0;
  std::int64_t totalFiles = 0;
  std::vector<DiskEntry> largeFiles;
  std::vector<DiskEntry> entries;
};

// Their own keys: "name", "path", "size", "is_dir", "scan_status", "insight", "cleanable";
// "path", "scan_status", "total_size", "total_files", "large_files", "entries".
void to_json(nlohmann::json& json, const DiskEntry& entry);
void from_json(const nlohmann::json& json, DiskEntry& entry);
void to_json(nlohmann::json& json, const AnalyzeReport& report);
void from_json(const nlohmann::json& json, AnalyzeReport& report);

struct AnalyzeEngine {
  struct MountRecord {
    std::string path;
    std::string device;
    std::uint32_t flags = 0;
  };
  // Where extra volumes live and which devices count as local disks.
  struct VolumeRule {
    std::vector<std::string> parentFolders;
    std::string devicePrefix;
    static VolumeRule platform();
  };

  // The system applications folder of the overview ("/Applications"; a fixture's own folder).
  std::filesystem::path systemApplications = "/Applications";
  // Extra volumes in the overview (off in fixture mode, where nothing outside the fixture is read).
  bool listsVolumes = true;
  // Credited with every file measured, for a caller that shows progress.
  ScanTallyRef tally;
  // Looked at between children; a stop throws EngineError::cancelled.
  std::stop_token stopToken;

  // One folder, its immediate non-hidden children measured, biggest first, `limit` kept. An
  // unreadable folder gives an "unavailable" report; nothing is thrown for it.
  AnalyzeReport report(const std::filesystem::path& path, std::int64_t limit) const;
  std::vector<DiskEntry> list(const std::filesystem::path& path, std::int64_t limit) const;
  // `report` with limit 40 as pretty-printed JSON with sorted keys.
  std::string json(const std::filesystem::path& path) const;

  // The top-level picture: the home's main folders, the applications and the extra volumes; or,
  // skipping protected folders, only the home's caches, logs, developer data and applications.
  AnalyzeReport overview(const std::filesystem::path& home, bool skipProtectedDirectories) const;

  // A quick two-level estimate: files directly inside, and files one folder further down.
  static std::uint64_t shallowByteSize(const std::filesystem::path& url, bool skipProtected);
  static std::vector<MountRecord> mountTable();
  static std::vector<std::filesystem::path> overviewVolumes(const std::vector<MountRecord>& records,
                                                            const VolumeRule& rule = VolumeRule::platform());

  static const std::unordered_set<std::string>& insightNames();
  static const std::unordered_set<std::string>& cleanableNames();
  // Compared with the lower-cased name; "com.apple.photos*" and "com.apple.music*" count too.
  static bool isProtectedName(const std::string& name);
};

}  // namespace tidyloom
