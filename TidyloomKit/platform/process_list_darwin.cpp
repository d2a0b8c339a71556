// Running processes from /bin/ps; the bundle identifier comes from the application's Info.plist.
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

#include "core/bounded_probe.h"
#include "core/property_list.h"
#include "platform/process_list.h"

namespace tidyloom::platform {
namespace {

std::string bundleIdentifierOf(const std::string& executable, std::map<std::string, std::string>& cache) {
  const auto marker = executable.find(".app/Contents/MacOS/");
  if (marker == std::string::npos) return {};
  const std::string plistPath = executable.substr(0, marker + 4) + "/Contents/Info.plist";
  if (const auto hit = cache.find(plistPath); hit != cache.end()) return hit->second;
  std::ifstream in(plistPath, std::ios::binary);
  const std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const std::string identifier = propertyListString(data, "CFBundleIdentifier").value_or("");
  cache[plistPath] = identifier;
  return identifier;
}

}  // namespace

std::optional<std::vector<RunningProcess>> runningProcesses() {
  // "comm=" is the full executable path on macOS.
  const auto result = BoundedProbe::run("/bin/ps", {"-axww", "-o", "pid=,uid=,comm="}, std::chrono::seconds(10));
  if (!result.launched || result.status != 0) return std::nullopt;
  std::vector<RunningProcess> processes;
  std::map<std::string, std::string> bundleCache;
  std::istringstream lines(result.output);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    RunningProcess process;
    if (!(fields >> process.pid >> process.uid)) continue;
    std::getline(fields >> std::ws, process.executable);
    if (process.executable.empty()) continue;
    process.name = process.executable.substr(process.executable.rfind('/') + 1);
    process.arguments = {process.executable};
    process.bundleIdentifier = bundleIdentifierOf(process.executable, bundleCache);
    processes.push_back(std::move(process));
  }
  return processes;
}

}  // namespace tidyloom::platform
