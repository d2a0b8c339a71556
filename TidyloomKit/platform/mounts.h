// The mount table, and where this platform mounts removable and extra volumes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tidyloom::platform {

// Mount flags with macOS's bit values (Linux maps its own onto them).
inline constexpr std::uint32_t kMountReadOnly = 0x00000001;
inline constexpr std::uint32_t kMountLocal = 0x00001000;
inline constexpr std::uint32_t kMountDontBrowse = 0x00100000;

struct MountEntry {
  std::string path;    // where it is mounted
  std::string device;  // what is mounted there ("/dev/disk4s1", "/dev/sdb1", "server:/share")
  std::uint32_t flags = 0;
  std::string type;  // the file system's type name ("apfs", "ext4", "tmpfs", "autofs")
};

// The mounted file systems, in the kernel's order; empty when the table cannot be read. Never
// waits on an unresponsive (network) file system.
std::vector<MountEntry> mountTable();

// Where extra volumes of the user appear: "/Volumes" on macOS; "/media/<user>" and "/mnt" on Linux.
std::vector<std::string> volumeFolders();
// Device names of local block storage begin with this ("/dev/disk" on macOS, "/dev/" on Linux).
std::string blockDevicePrefix();

}  // namespace tidyloom::platform
