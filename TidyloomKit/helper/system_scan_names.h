// The fixed name lists of the system clean scan, for macOS (also used for fixture trees) and Linux.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace tidyloom {

struct SystemScanNames {
  // A diagnostic folder under the private database folder, with its own age limit (0: the
  // scanner's `maxAgeDays`).
  struct DiagnosticFolder {
    std::string relativePath;
    std::int64_t fixedAgeDays = 0;
    bool rejectsLiveFolder = false;  // files under a folder named "Current" are live data
  };

  std::set<std::string> logExtensions;  // under the var log folder, compared lower-cased
  // Under the var log folder only logs already rotated away ("syslog.1", "kern.log.2.gz",
  // "messages-20261101", "Xorg.0.log.old"): the live one is still being written to.
  bool rotatedLogsOnly = false;
  std::set<std::string> systemCacheExtensions;  // under the system caches, compared lower-cased
  std::vector<std::string> namedCaches;         // rebuildable caches in the system caches folder
  std::vector<std::string> gpuCaches;           // relative to the per-user cache folder
  std::vector<DiagnosticFolder> diagnosticFolders;
  std::vector<std::string> systemLogFolders;  // sub-folders of the system logs that are scanned
  std::vector<std::string> timeMachineData;   // relative to the home folder

  static SystemScanNames macOS();
  // Linux plays the same roles with its own names: rotated logs, systemd core dumps, Mesa and
  // NVIDIA shader caches.
  static SystemScanNames linuxDesktop();
  static SystemScanNames forHost();
};

}  // namespace tidyloom
