// The privileged routes of the system command: the root daemon, else the administrator shell.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "context.h"
#include "core/records.h"
#include "helper/privileged_helper_client.h"

namespace tidyloom::cli {

// The daemon's client for this front end. Throws EngineError::io saying why there is none
// (fixture mode, a build outside a root-owned installation, a daemon that is not enabled).
std::unique_ptr<PrivilegedHelperClient> requireHelperClient(const Context& context);

// Removes reviewed system paths permanently: through the daemon with `viaHelper`, else through
// one administrator shell (in fixture mode, a shell of the current user inside the fixture).
// Each path is re-checked against the system scan's rules just before it goes.
RunReport removeSystemPaths(const Context& context, const std::vector<std::string>& paths, bool viaHelper);

// Prints a removal report: JSON with --json, else removed and failed paths and the bytes freed.
void printRunReport(const Context& context, const RunReport& report);

}  // namespace tidyloom::cli
