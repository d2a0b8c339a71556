// Linux mount table from /proc/self/mountinfo.
#include <pwd.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <unordered_set>

#include "platform/mounts.h"

namespace tidyloom::platform {
namespace {

// mountinfo escapes space, tab, newline and backslash as three octal digits.
std::string unescape(const std::string& field) {
  const auto octal = [&](size_t k) { return k < field.size() && field[k] >= '0' && field[k] <= '7'; };
  std::string out;
  out.reserve(field.size());
  for (size_t i = 0; i < field.size(); ++i) {
    if (field[i] == '\\' && octal(i + 1) && octal(i + 2) && octal(i + 3)) {
      out.push_back(static_cast<char>((field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 + (field[i + 3] - '0')));
      i += 3;
    } else {
      out.push_back(field[i]);
    }
  }
  return out;
}

bool hasOption(const std::string& options, const std::string& option) {
  std::stringstream stream(options);
  for (std::string item; std::getline(stream, item, ',');) {
    if (item == option) return true;
  }
  return false;
}

bool isNetworkType(const std::string& type) {
  static const std::unordered_set<std::string> kNetwork{"nfs",   "nfs4",       "cifs",  "smb3",        "smbfs",
                                                        "ncpfs", "afs",        "9p",    "ceph",        "glusterfs",
                                                        "davfs", "fuse.sshfs", "sshfs", "fuse.rclone", "lustre"};
  return kNetwork.contains(type);
}

}  // namespace

std::vector<MountEntry> mountTable() {
  std::vector<MountEntry> table;
  std::ifstream in("/proc/self/mountinfo");
  for (std::string line; std::getline(in, line);) {
    // id parent major:minor root mountpoint options [optional fields...] - type source superoptions
    std::istringstream fields(line);
    std::string id, parent, numbers, root, mountPoint, options;
    if (!(fields >> id >> parent >> numbers >> root >> mountPoint >> options)) continue;
    std::string word;
    while (fields >> word && word != "-") {
    }
    std::string type, source, superOptions;
    if (!(fields >> type >> source >> superOptions)) continue;
    MountEntry entry{unescape(mountPoint), unescape(source), 0, type};
    if (hasOption(options, "ro") || hasOption(superOptions, "ro")) entry.flags |= kMountReadOnly;
    if (!isNetworkType(type)) entry.flags |= kMountLocal;
    table.push_back(std::move(entry));
  }
  return table;
}

std::vector<std::string> volumeFolders() {
  std::vector<std::string> folders;
  if (const passwd* user = ::getpwuid(::getuid()); user != nullptr && user->pw_name != nullptr) {
    folders.push_back(std::string("/media/") + user->pw_name);
  }
  folders.emplace_back("/mnt");
  return folders;
}

std::string blockDevicePrefix() { return "/dev/"; }

}  // namespace tidyloom::platform
