// Keeping order, display name and removal of copies from a duplicate group.
#include "analysis/duplicate_group.h"

#include <algorithm>
#include <map>

#include "analysis/large_file_scanner.h"

namespace tidyloom {
namespace {

size_t depth(const std::string& path) {
  size_t components = 0;
  bool inComponent = false;
  for (char c : path) {
    if (c == '/') {
      inComponent = false;
    } else if (!inComponent) {
      inComponent = true;
      ++components;
    }
  }
  return components;
}

}  // namespace

std::optional<LargeFileItem> DuplicateGroup::keeper() const {
  if (files.empty()) return std::nullopt;
  return files.front();
}

LargeFileKind DuplicateGroup::kind() const {
  return files.empty() ? LargeFileKind::other : LargeFileScanner::kind(files.front().path);
}

std::vector<LargeFileItem> DuplicateGroup::ranked(std::vector<LargeFileItem> files) {
  std::stable_sort(files.begin(), files.end(), [](const LargeFileItem& a, const LargeFileItem& b) {
    if (a.lastUsed != b.lastUsed) return a.lastUsed > b.lastUsed;
    const size_t da = depth(a.path), db = depth(b.path);
    if (da != db) return da < db;
    return a.path < b.path;
  });
  return files;
}

DuplicateGroup DuplicateGroup::removing(const std::set<std::string>& paths) const {
  DuplicateGroup result = *this;
  std::erase_if(result.files, [&](const LargeFileItem& item) { return paths.contains(item.path); });
  return result;
}

std::string DuplicateGroup::displayName(const std::vector<LargeFileItem>& files) {
  std::map<std::string, size_t> counts;
  for (const auto& file : files) ++counts[file.name()];
  std::string best;
  size_t bestCount = 0;
  for (const auto& file : files) {  // keeping order decides ties
    const size_t count = counts[file.name()];
    if (count > bestCount) {
      best = file.name();
      bestCount = count;
    }
  }
  return best;
}

}  // namespace tidyloom
