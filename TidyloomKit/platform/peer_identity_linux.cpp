// Peer credentials and executable identity on Linux, through pidfds and /proc.
#include "core/unique_fd.h"
#include "platform/peer_identity.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#ifndef SO_PEERPIDFD
#define SO_PEERPIDFD 77  // Linux 6.5; older C libraries lack the constant
#endif

namespace tidyloom::platform {
namespace {

std::optional<pid_t> pidOfPidfd(int pidfd) {
  std::ifstream info("/proc/self/fdinfo/" + std::to_string(pidfd));
  std::string line;
  while (std::getline(info, line)) {
    if (line.rfind("Pid:", 0) == 0) {
      const long pid = std::strtol(line.c_str() + 4, nullptr, 10);
      if (pid > 0) return static_cast<pid_t>(pid);
      return std::nullopt;  // 0: in another namespace; -1: already exited
    }
  }
  return std::nullopt;
}

// Field 22 of /proc/PID/stat: the start time in clock ticks since boot.
std::optional<unsigned long long> startTime(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  // The command name may contain blanks and parentheses; fields resume after the last ')'.
  const auto close = text.rfind(')');
  if (close == std::string::npos) return std::nullopt;
  std::istringstream fields(text.substr(close + 2));
  std::string field;
  for (int index = 3; index <= 22 && fields >> field; ++index) {
    if (index == 22) return std::stoull(field);
  }
  return std::nullopt;
}

unsigned long long bootTicksNow() {
  timespec now{};
  ::clock_gettime(CLOCK_BOOTTIME, &now);
  const long ticks = ::sysconf(_SC_CLK_TCK);
  return static_cast<unsigned long long>(now.tv_sec) * static_cast<unsigned long long>(ticks) +
         static_cast<unsigned long long>(now.tv_nsec) / (1000000000ull / static_cast<unsigned long long>(ticks));
}

// A pidfd of the socket's peer together with its current process id.
bool pinPeer(int fd, UniqueFd& pidfd, pid_t& pid) {
  int raw = -1;
  socklen_t length = sizeof raw;
  if (::getsockopt(fd, SOL_SOCKET, SO_PEERPIDFD, &raw, &length) == 0 && raw >= 0) {
    pidfd.reset(raw);
    const auto current = pidOfPidfd(raw);
    if (!current) return false;
    pid = *current;
    return true;
  }
  // Older kernels: the pid recorded at connect time may have been recycled by the time we open it,
  // so the process we pin must have started before this very moment's connection was accepted.
  ucred credentials{};
  length = sizeof credentials;
  if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0 || credentials.pid <= 0) return false;
  const unsigned long long acceptedBy = bootTicksNow();
  const int opened = static_cast<int>(::syscall(SYS_pidfd_open, credentials.pid, 0));
  if (opened < 0) return false;
  pidfd.reset(opened);
  const auto started = startTime(credentials.pid);
  if (!started || *started > acceptedBy) return false;
  pid = credentials.pid;
  return true;
}

bool stillRunning(int pidfd) {
  pollfd entry{pidfd, POLLIN, 0};
  return ::poll(&entry, 1, 0) == 0;  // a pidfd becomes readable when its process exits
}

}  // namespace

std::optional<uid_t> socketPeerUid(int fd) {
  ucred credentials{};
  socklen_t length = sizeof credentials;
  if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0) return std::nullopt;
  return credentials.uid;
}

std::optional<PeerCredentials> socketPeerCredentials(int fd) {
  ucred credentials{};
  socklen_t length = sizeof credentials;
  if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0) return std::nullopt;
  PeerCredentials peer{credentials.uid, credentials.gid, {}};
  // SO_PEERGROUPS fills what fits and says how much it needed.
  std::vector<gid_t> groups(64);
  for (int attempt = 0; attempt < 2; ++attempt) {
    socklen_t bytes = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    if (::getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &bytes) == 0) {
      groups.resize(bytes / sizeof(gid_t));
      peer.groups = std::move(groups);
      return peer;
    }
    if (errno != ERANGE) return std::nullopt;
    groups.resize(bytes / sizeof(gid_t) + 1);
  }
  return std::nullopt;
}

std::optional<gid_t> firstExistingGroup(const std::vector<std::string>& names) {
  for (const auto& name : names) {
    group entry{};
    group* found = nullptr;
    std::vector<char> buffer(16384);
    if (::getgrnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found) == 0 && found) return found->gr_gid;
  }
  return std::nullopt;
}

std::optional<FileIdentity> trustedRootFile(const std::filesystem::path& path) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
  if (info.st_uid != 0 || (info.st_mode & (S_IWGRP | S_IWOTH)) != 0) return std::nullopt;
  const FileIdentity identity{info.st_dev, info.st_ino};
  for (auto folder = path.parent_path();; folder = folder.parent_path()) {
    struct stat dir {};
    if (::lstat(folder.c_str(), &dir) != 0 || !S_ISDIR(dir.st_mode) || dir.st_uid != 0) return std::nullopt;
    const bool othersMayWrite = (dir.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    if (othersMayWrite && (dir.st_mode & S_ISVTX) == 0) return std::nullopt;
    if (folder == folder.parent_path()) break;
  }
  return identity;
}

bool peerRunsExecutable(int fd, const FileIdentity& expected) {
  UniqueFd pidfd;
  pid_t pid = 0;
  if (!pinPeer(fd, pidfd, pid)) return false;
  // stat through /proc/PID/exe reaches the very inode the process runs, even if its path was renamed.
  struct stat running {};
  const std::string exe = "/proc/" + std::to_string(pid) + "/exe";
  if (::stat(exe.c_str(), &running) != 0) return false;
  // If the pinned process had exited meanwhile, PID could name another process: check it still runs.
  if (!stillRunning(pidfd.get())) return false;
  return FileIdentity{running.st_dev, running.st_ino} == expected;
}

std::optional<std::filesystem::path> currentExecutable() {
  std::error_code error;
  auto path = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) return std::nullopt;
  return path;
}

}  // namespace tidyloom::platform
