// On macOS the daemon's peers are checked by code signature inside XPC; only the socket pieces exist.
#include "platform/peer_identity.h"

#include <grp.h>
#include <mach-o/dyld.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/ucred.h>
#include <sys/un.h>
#include <unistd.h>

namespace tidyloom::platform {

std::optional<uid_t> socketPeerUid(int fd) {
  uid_t uid = 0;
  gid_t gid = 0;
  if (::getpeereid(fd, &uid, &gid) != 0) return std::nullopt;
  return uid;
}

std::optional<PeerCredentials> socketPeerCredentials(int fd) {
  xucred credentials{};
  socklen_t length = sizeof credentials;
  if (::getsockopt(fd, SOL_LOCAL, LOCAL_PEERCRED, &credentials, &length) != 0) return std::nullopt;
  if (credentials.cr_version != XUCRED_VERSION || credentials.cr_ngroups < 1) return std::nullopt;
  PeerCredentials peer{credentials.cr_uid, credentials.cr_groups[0], {}};
  peer.groups.assign(credentials.cr_groups, credentials.cr_groups + credentials.cr_ngroups);
  return peer;
}

std::optional<gid_t> firstExistingGroup(const std::vector<std::string>& names) {
  for (const auto& name : names) {
    if (const group* found = ::getgrnam(name.c_str())) return found->gr_gid;
  }
  return std::nullopt;
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
