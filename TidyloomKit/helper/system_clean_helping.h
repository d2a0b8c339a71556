// SystemCleanHelping: what the engines need from the root daemon, so they can run with or without it.
#pragma once

#include <string>
#include <vector>

#include "core/records.h"
#include "core/scan_progress.h"

namespace tidyloom {

class SystemCleanHelping {
 public:
  virtual ~SystemCleanHelping() = default;
  // The system-wide candidates only root can list. Throws EngineError.
  virtual std::vector<CleanupCandidate> scanSystem(bool includesRebuildableCaches) = 0;
  // Removes reviewed system paths; each refused or failed path is one `failed` entry. Throws EngineError
  // only when the daemon cannot be reached or answers nothing usable. After `stop` the daemon
  // finishes the path in hand; the report holds what it handled and is marked interrupted.
  virtual RunReport removeSystemPaths(const std::vector<std::string>& paths, const CancellationToken& stop) = 0;
};

}  // namespace tidyloom
