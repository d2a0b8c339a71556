// On macOS the daemon's peers are checked by code signature inside XPC; only the socket pieces exist.
#include "platform/peer_identity.h"

#include <mach-o/dyld.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tidyloom::platform {

std::optional<uid_t> socketPeerUid(int fd) {
  uid_t uid = 0;
  gid_t gid = 0;
  if (::getpeereid(fd, &uid, &gid) != 0) return std::nullopt;
  return uid;
}

std::optional<FileIdentity> trustedRootFile(const std::filesystem::path& path) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_uid != 0) return std::nullopt;
  if ((info.st_mode & (S_IWGRP | S_IWOTH)) != 0) return std::nullopt;
  return FileIdentity{info.st_dev, info.st_ino};
}

// The signing requirement on the XPC connection does this job on macOS.
bool peerRunsExecutable(int, const FileIdentity&) { return false; }

std::optional<std::filesystem::path> currentExecutable() {
  char buffer[4096];
  uint32_t size = sizeof buffer;
  if (_NSGetExecutablePath(buffer, &size) != 0) return std::nullopt;
  return std::filesystem::path(buffer);
}

}  // namespace tidyloom::platform
