// JSON coding of the snapshot and the health rating table.
#include "status/status_snapshot.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace tidyloom {

void to_json(nlohmann::json& j, const TopProcess& value) {
  j = {{"pid", value.pid}, {"name", value.name}, {"cpu", value.cpu}};
}

void from_json(const nlohmann::json& j, TopProcess& value) {
  j.at("pid").get_to(value.pid);
  j.at("name").get_to(value.name);
  j.at("cpu").get_to(value.cpu);
}

void to_json(nlohmann::json& j, const StatusSnapshot& value) {
  j = {{"host_name", value.hostName},
       {"health_score", value.healthScore},
       {"health_score_msg", value.healthScoreMsg},
       {"process_count", value.processCount},
       {"physical_memory_bytes", value.physicalMemoryBytes},
       {"memory_pressure", value.memoryPressure},
       {"disk_free_bytes", value.diskFreeBytes},
       {"disk_purgeable_bytes", value.diskPurgeableBytes},
       {"disk_total_bytes", value.diskTotalBytes},
       {"trash_size", value.trashSize},
       {"uptime_seconds", value.uptimeSeconds},
       {"top_processes", value.topProcesses},
       {"captured_at", formatISO8601(value.capturedAt)}};
}

void from_json(const nlohmann::json& j, StatusSnapshot& value) {
  j.at("host_name").get_to(value.hostName);
  j.at("health_score").get_to(value.healthScore);
  j.at("health_score_msg").get_to(value.healthScoreMsg);
  j.at("process_count").get_to(value.processCount);
  j.at("physical_memory_bytes").get_to(value.physicalMemoryBytes);
  j.at("memory_pressure").get_to(value.memoryPressure);
  j.at("disk_free_bytes").get_to(value.diskFreeBytes);
  j.at("disk_purgeable_bytes").get_to(value.diskPurgeableBytes);
  j.at("disk_total_bytes").get_to(value.diskTotalBytes);
  j.at("trash_size").get_to(value.trashSize);
  j.at("uptime_seconds").get_to(value.uptimeSeconds);
  j.at("top_processes").get_to(value.topProcesses);
  const auto captured = parseISO8601(j.at("captured_at").get<std::string>());
  if (!captured) throw nlohmann::json::other_error::create(501, "captured_at is not an ISO 8601 date", &j);
  value.capturedAt = *captured;
}

DiskFigures diskFigures(std::optional<std::int64_t> total, std::optional<std::int64_t> available,
                        std::optional<std::int64_t> availableForImportantUsage) {
  const auto known = [](std::optional<std::int64_t> v) {
    return v && *v > 0 ? static_cast<std::uint64_t>(*v) : std::uint64_t{0};
  };
  DiskFigures out;
  out.totalBytes = known(total);
  out.freeBytes = std::min(out.totalBytes, known(available));
  const std::uint64_t important = known(availableForImportantUsage);
  const std::uint64_t plain = known(available);
  out.purgeableBytes = important > plain ? important - plain : 0;
  return out;
}

double diskUsedRatio(std::uint64_t totalBytes, std::uint64_t freeBytes) {
  if (totalBytes == 0) return 0;
  return static_cast<double>(totalBytes - std::min(freeBytes, totalBytes)) / static_cast<double>(totalBytes);
}

HealthRating rateHealth(double diskUsedRatio, int processCount, double topCpu) {
  HealthRating out;
  int score = 100;
  if (diskUsedRatio > 0.95) {
    score -= 35;
  } else if (diskUsedRatio > 0.85) {
    score -= 20;
  } else if (diskUsedRatio > 0.75) {
    score -= 10;
  }
  if (processCount > 600) {
    score -= 15;
  } else if (processCount > 400) {
    score -= 8;
  }
  if (topCpu > 80) {
    score -= 20;
  } else if (topCpu > 50) {
    score -= 10;
  }
  out.score = score;
  out.label = score >= 90 ? "Excellent" : score >= 75 ? "Good" : score >= 50 ? "Fair" : "Poor";
  out.memoryPressure = diskUsedRatio > 0.9 ? "high" : diskUsedRatio > 0.75 ? "moderate" : "normal";
  return out;
}

}  // namespace tidyloom
