// A plain allocated-size walk, enough for the Trash figure of the status snapshot.
#include "status/folder_size.h"

#include <sys/stat.h>

#include <algorithm>
#include <set>
#include <utility>

namespace tidyloom {
namespace {

std::uint64_t occupied(const struct stat& st) {
  const auto allocated = static_cast<std::uint64_t>(st.st_blocks) * 512;
  const auto logical = static_cast<std::uint64_t>(std::max<off_t>(st.st_size, 0));
  return std::min(allocated, logical);
}

}  // namespace

std::uint64_t folderByteSize(const std::filesystem::path& folder) {
  namespace fs = std::filesystem;
  struct stat st {};
  if (::lstat(folder.c_str(), &st) != 0) return 0;
  std::uint64_t total = occupied(st);
  if (!S_ISDIR(st.st_mode)) return total;
  std::set<std::pair<dev_t, ino_t>> seenLinks;
  std::error_code ec;
  fs::recursive_directory_iterator it(folder, fs::directory_options::skip_permission_denied, ec);
  for (; !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
    if (::lstat(it->path().c_str(), &st) != 0) continue;
    if (!S_ISDIR(st.st_mode) && st.st_nlink > 1 && !seenLinks.emplace(st.st_dev, st.st_ino).second) continue;
    total += occupied(st);
  }
  return total;
}

}  // namespace tidyloom
