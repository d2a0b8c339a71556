// Who is on the other end of a local socket, and whether a file belongs to a root-owned installation.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tidyloom::platform {

// The identity of a file that cannot change under a path lookup: (device, inode).
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  bool operator==(const FileIdentity&) const = default;
};

// The user id of the process that created the peer end of a connected local socket.
std::optional<uid_t> socketPeerUid(int fd);

// Who the peer of a connected local socket is: its user, primary group and supplementary groups
// as the kernel recorded them when it connected.
struct PeerCredentials {
  uid_t uid = 0;
  gid_t gid = 0;
  std::vector<gid_t> groups;
};
std::optional<PeerCredentials> socketPeerCredentials(int fd);

// The id of the first of `names` that exists in the group database; nothing when none does.
std::optional<gid_t> firstExistingGroup(const std::vector<std::string>& names);

// The identity of `path` when it is a regular file owned by root, not writable by group or others,
// and every folder above it is owned by root and either not writable by group or others or sticky
// (like /tmp, where nobody else can rename our entries). Nothing otherwise.
std::optional<FileIdentity> trustedRootFile(const std::filesystem::path& path);

// True when the process at the peer end of `fd` is running the executable `expected` right now.
// The peer is pinned with a process file descriptor (SO_PEERPIDFD, or SO_PEERCRED then pidfd_open
// with a start-time guard), so a recycled process id can never stand in for the real peer.
bool peerRunsExecutable(int fd, const FileIdentity& expected);

// The absolute path of the running executable.
std::optional<std::filesystem::path> currentExecutable();

}  // namespace tidyloom::platform
