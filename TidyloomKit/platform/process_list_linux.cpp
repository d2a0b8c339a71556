// Running processes from /proc: comm, the exe link where readable, and the first arguments.
#include <dirent.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>

#include "platform/process_list.h"

namespace tidyloom::platform {
namespace {

constexpr size_t kKeptArguments = 6;

std::string readSmallFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace

std::optional<std::vector<RunningProcess>> runningProcesses() {
  std::unique_ptr<DIR, int (*)(DIR*)> proc(::opendir("/proc"), ::closedir);
  if (!proc) return std::nullopt;
  std::vector<RunningProcess> processes;
  while (const dirent* entry = ::readdir(proc.get())) {
    char* end = nullptr;
    const long pid = std::strtol(entry->d_name, &end, 10);
    if (pid <= 0 || *end != '\0') continue;
    const std::string base = std::string("/proc/") + entry->d_name;
    RunningProcess process;
    process.pid = static_cast<int>(pid);
    process.name = readSmallFile(base + "/comm");
    if (process.name.empty()) continue;  // gone while listing
    if (process.name.back() == '\n') process.name.pop_back();
    char link[4096];
    const ssize_t length = ::readlink((base + "/exe").c_str(), link, sizeof link - 1);
    if (length > 0) {
      process.executable.assign(link, static_cast<size_t>(length));
      constexpr std::string_view kDeleted = " (deleted)";
      if (process.executable.ends_with(kDeleted))
        process.executable.resize(process.executable.size() - kDeleted.size());
    }
    const std::string cmdline = readSmallFile(base + "/cmdline");
    for (size_t start = 0; start < cmdline.size() && process.arguments.size() < kKeptArguments;) {
      const size_t stop = cmdline.find('\0', start);
      process.arguments.push_back(cmdline.substr(start, stop == std::string::npos ? std::string::npos : stop - start));
      if (stop == std::string::npos) break;
      start = stop + 1;
    }
    const std::string status = readSmallFile(base + "/status");
    if (const auto uidAt = status.find("\nUid:"); uidAt != std::string::npos) {
      process.uid = static_cast<unsigned>(std::strtoul(status.c_str() + uidAt + 5, nullptr, 10));
    }
    processes.push_back(std::move(process));
  }
  return processes;
}

}  // namespace tidyloom::platform
