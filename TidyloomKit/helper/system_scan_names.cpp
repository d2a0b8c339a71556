// Name lists of the system clean scan.
#include "helper/system_scan_names.h"

#include "platform/host.h"

namespace tidyloom {

SystemScanNames SystemScanNames::macOS() {
  return SystemScanNames{
      .logExtensions = {"log", "gz", "asl", "diag"},
      .systemCacheExtensions = {"cache", "tmp", "log"},
      .namedCaches = {"com.apple.iconservices.store", "com.apple.iconservices", "com.apple.geoanalyticsd"},
      .gpuCaches = {"com.apple.gpuarchiver", "com.apple.metal", "com.apple.metalfe"},
      .diagnosticFolders = {{"diagnostics", 0, false},
                            {"DiagnosticPipeline", 0, false},
                            {"powerlog", 0, true},
                            {"reportmemoryexception/MemoryLimitViolations", 30, false}},
      .systemLogFolders = {"DiagnosticReports", "Adobe", "CreativeCloud"},
      .timeMachineData = {"Library/Application Support/com.apple.TimeMachine.TMCacheDelete", "Library/Logs/TimeMachine",
                          "SystemLibrary/TimeMachineLocalSnapshots"},
  };
}

SystemScanNames SystemScanNames::linuxDesktop() {
  return SystemScanNames{
      // The journal's own files are left to journalctl.
      .logExtensions = {},
      .rotatedLogsOnly = true,
      .systemCacheExtensions = {"cache", "tmp", "log"},
      // Rebuilt by mandb and fc-cache.
      .namedCaches = {"man", "fontconfig"},
      .gpuCaches = {"mesa_shader_cache", "mesa_shader_cache_db", "nvidia/GLCache"},
      .diagnosticFolders = {{"systemd/coredump", 0, false}, {"apport/coredump", 0, false}},
      .systemLogFolders = {},
      .timeMachineData = {},
  };
}

SystemScanNames SystemScanNames::forHost() { return platform::hostIsDarwin() ? macOS() : linuxDesktop(); }

}  // namespace tidyloom
