// StatusSnapshot and TopProcess (JSON-coded with their own snake_case keys), and the health rating
// computed from measured figures.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "core/iso8601.h"

namespace tidyloom {

struct TopProcess {
  int pid = 0;
  std::string name;
  double cpu = 0;

  bool operator==(const TopProcess&) const = default;
};

struct StatusSnapshot {
  std::string hostName;
  int healthScore = 100;
  std::string healthScoreMsg = "Excellent";
  int processCount = 0;
  std::uint64_t physicalMemoryBytes = 0;
  std::string memoryPressure = "normal";
  std::uint64_t diskFreeBytes = 0;
  std::uint64_t diskPurgeableBytes = 0;
  std::uint64_t diskTotalBytes = 0;
  std::uint64_t trashSize = 0;
  double uptimeSeconds = 0;
  std::vector<TopProcess> topProcesses;
  SystemTime capturedAt{};

  bool operator==(const StatusSnapshot&) const = default;
};

void to_json(nlohmann::json& j, const TopProcess& value);
void from_json(const nlohmann::json& j, TopProcess& value);
void to_json(nlohmann::json& j, const StatusSnapshot& value);
// Throws nlohmann::json exceptions on a malformed document (a bad date included).
void from_json(const nlohmann::json& j, StatusSnapshot& value);

// The disk figures of a volume from what the system reports (unknown or negative figures count 0).
struct DiskFigures {
  std::uint64_t freeBytes = 0;
  std::uint64_t purgeableBytes = 0;
  std::uint64_t totalBytes = 0;
};
DiskFigures diskFigures(std::optional<std::int64_t> total, std::optional<std::int64_t> available,
                        std::optional<std::int64_t> availableForImportantUsage);

// (total - free) / total, or 0 for an unknown (zero) capacity.
double diskUsedRatio(std::uint64_t totalBytes, std::uint64_t freeBytes);

struct HealthRating {
  int score = 100;
  std::string label;           // "Excellent", "Good", "Fair", "Poor"
  std::string memoryPressure;  // "high", "moderate", "normal"
};
// The score and label of a snapshot. The pressure follows the disk, not memory statistics, on
// purpose: a nearly full startup disk is what slows a machine through swap and caches.
HealthRating rateHealth(double diskUsedRatio, int processCount, double topCpu);

}  // namespace tidyloom
