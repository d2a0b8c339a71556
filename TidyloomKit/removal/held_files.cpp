// HeldFiles: a lease probe for one file, the open-file table for folders and for files the probe
// cannot judge.
#include "removal/held_files.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>

namespace tidyloom {

struct HeldFiles::Table {
  std::once_flag once;
  std::optional<platform::OpenFileTable> table;
  const std::optional<platform::OpenFileTable>& get() {
    std::call_once(once, [&] { table = platform::openFileTable(); });
    return table;
  }
};

HeldFiles::HeldFiles(bool live) : live_(live), table_(std::make_shared<Table>()) {}
HeldFiles HeldFiles::live() { return HeldFiles(true); }
HeldFiles HeldFiles::none() { return HeldFiles(false); }

HeldFiles::Answer HeldFiles::check(const std::string& path) const {
  using platform::OpenState;
  if (!live_) return {};
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0 || S_ISLNK(info.st_mode)) return {};
  if (S_ISREG(info.st_mode)) {
    const OpenState probe = platform::regularFileOpenState(path);
    if (probe == OpenState::closed) return {};
    // Held or not judged: the table names the holders, or decides when the probe could not.
    const auto& table = table_->get();
    if (!table) return {probe, {}};
    const auto holders =
        table->identities.find({static_cast<std::uint64_t>(info.st_dev), static_cast<std::uint64_t>(info.st_ino)});
    if (holders != table->identities.end()) return {OpenState::held, holders->second};
    return {probe == OpenState::held ? OpenState::held : OpenState::closed, {}};
  }
  if (!S_ISDIR(info.st_mode)) return {};
  const auto& table = table_->get();
  if (!table) return {OpenState::unknown, {}};
  // The table holds canonical paths; the folder itself or anything below it counts.
  std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr), &std::free);
  if (!real) return {OpenState::unknown, {}};
  const std::string folder(real.get());
  const std::string prefix = folder == "/" ? folder : folder + "/";
  Answer answer;
  const auto add = [&](const std::vector<std::string>& names) {
    answer.state = OpenState::held;
    for (const auto& name : names) {
      if (std::find(answer.processNames.begin(), answer.processNames.end(), name) == answer.processNames.end()) {
        answer.processNames.push_back(name);
      }
    }
  };
  if (const auto exact = table->holders.find(folder); exact != table->holders.end()) add(exact->second);
  for (auto it = table->holders.lower_bound(prefix); it != table->holders.end() && it->first.starts_with(prefix);
       ++it) {
    add(it->second);
  }
  return answer;
}

}  // namespace tidyloom
