// The running processes of the machine, as the activity guards need them.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tidyloom::platform {

struct RunningProcess {
  int pid = 0;
  unsigned uid = 0;
  std::string name;                    // short command name
  std::string executable;              // absolute path of the program, empty when it cannot be read
  std::vector<std::string> arguments;  // first few command-line arguments, argv[0] included
  std::string bundleIdentifier;        // the application bundle's identifier where there is one
};

// Every process visible to the caller; nullopt when the list cannot be taken at all, so that callers
// can fail safe instead of treating "unknown" as "nothing runs".
std::optional<std::vector<RunningProcess>> runningProcesses();

}  // namespace tidyloom::platform
