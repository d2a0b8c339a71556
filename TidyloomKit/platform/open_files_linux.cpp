// Open files on Linux: a write lease for one regular file (granted only when no other descriptor
// or mapping refers to it), and /proc/PID/fd for the whole table.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <memory>

#include "platform/open_files.h"

namespace tidyloom::platform {
namespace {

bool isNumber(const char* name) {
  if (*name == '\0') return false;
  for (; *name != '\0'; ++name) {
    if (*name < '0' || *name > '9') return false;
  }
  return true;
}

void addHolder(std::vector<std::string>& holders, const std::string& name) {
  if (std::find(holders.begin(), holders.end(), name) == holders.end()) holders.push_back(name);
}

}  // namespace

OpenState regularFileOpenState(const std::string& path) {
  // O_NOATIME keeps the probe from touching the file's times; only its owner (or root) may ask.
  int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOATIME);
  if (fd < 0 && errno == EPERM) fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return errno == EWOULDBLOCK ? OpenState::held : OpenState::unknown;
  OpenState state = OpenState::unknown;
  struct stat info {};
  if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode)) {
    if (::fcntl(fd, F_SETLEASE, F_WRLCK) == 0) {
      ::fcntl(fd, F_SETLEASE, F_UNLCK);
      state = OpenState::closed;
    } else if (errno == EAGAIN) {
      state = OpenState::held;
    }
  }
  ::close(fd);
  return state;
}

std::optional<OpenFileTable> openFileTable() {
  std::unique_ptr<DIR, int (*)(DIR*)> proc(::opendir("/proc"), ::closedir);
  if (!proc) return std::nullopt;
  OpenFileTable table;
  const std::string self = std::to_string(::getpid());
  bool sawProcess = false;
  while (const dirent* process = ::readdir(proc.get())) {
    if (!isNumber(process->d_name) || process->d_name == self) continue;
    sawProcess = true;
    const std::string base = std::string("/proc/") + process->d_name;
    std::unique_ptr<DIR, int (*)(DIR*)> fds(::opendir((base + "/fd").c_str()), ::closedir);
    if (!fds) continue;  // gone, or another user's process
    std::string name;
    std::getline(std::ifstream(base + "/comm"), name);
    while (const dirent* fd = ::readdir(fds.get())) {
      if (!isNumber(fd->d_name)) continue;
      const std::string link = base + "/fd/" + fd->d_name;
      char target[4096];
      const ssize_t length = ::readlink(link.c_str(), target, sizeof target);
      if (length <= 0 || target[0] != '/' || static_cast<size_t>(length) == sizeof target) continue;
      const std::string path(target, static_cast<size_t>(length));
      if (path.ends_with(" (deleted)")) continue;
      addHolder(table.holders[path], name);
      struct stat info {};
      if (::stat(link.c_str(), &info) == 0 && S_ISREG(info.st_mode)) {
        addHolder(table.identities[{static_cast<std::uint64_t>(info.st_dev), static_cast<std::uint64_t>(info.st_ino)}],
                  name);
      }
    }
  }
  // A /proc that shows no process at all (not even init) is not a real one.
  if (!sawProcess) return std::nullopt;
  return table;
}

}  // namespace tidyloom::platform
