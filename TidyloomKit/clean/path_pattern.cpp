// Level-by-level expansion of a relative path pattern, one regular expression per component.
#include "clean/path_pattern.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <memory>
#include <string>

#include "clean/icu_regex.h"

namespace tidyloom {
namespace {

std::vector<std::string> components(std::string_view pattern) {
  std::vector<std::string> out;
  size_t start = 0;
  while (start <= pattern.size()) {
    const size_t end = std::min(pattern.find('/', start), pattern.size());
    if (end > start) out.emplace_back(pattern.substr(start, end - start));
    start = end + 1;
  }
  return out;
}

std::string componentExpression(const std::string& component) {
  std::string expression = "^";
  for (const char c : component) expression += c == '*' ? std::string(".*") : IcuRegex::escape(std::string_view(&c, 1));
  return expression + "$";
}

bool isSymbolicLink(DIR* dir, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_LNK;
  struct stat info {};
  // When the attribute cannot be read the link test is passed over, as the entry is still listed.
  if (::fstatat(::dirfd(dir), entry.d_name, &info, AT_SYMLINK_NOFOLLOW) != 0) return false;
  return S_ISLNK(info.st_mode);
}

void appendMatches(const std::filesystem::path& folder, const std::string& component, const IcuRegex& expression,
                   std::vector<std::filesystem::path>& next) {
  std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(folder.c_str()), ::closedir);
  if (!dir) return;
  const bool hiddenAllowed = component.starts_with('.');
  while (const dirent* entry = ::readdir(dir.get())) {
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    if (name.starts_with('.') && !hiddenAllowed) continue;
    if (isSymbolicLink(dir.get(), *entry)) continue;
    if (expression.matchesWhole(name)) next.push_back(folder / name);
  }
}

}  // namespace

std::vector<std::filesystem::path> expandRelativePathPattern(std::string_view pattern,
                                                             const std::filesystem::path& home) {
  const std::vector<std::string> parts = components(pattern);
  if (parts.empty() || pattern.starts_with('/')) return {};
  for (const std::string& part : parts) {
    if (part == "." || part == "..") return {};
  }
  std::vector<std::filesystem::path> level{home};
  for (const std::string& part : parts) {
    const auto expression = IcuRegex::compile(componentExpression(part));
    if (!expression) return {};
    std::vector<std::filesystem::path> next;
    for (const auto& folder : level) appendMatches(folder, part, *expression, next);
    if (next.empty()) return {};
    level = std::move(next);
  }
  return level;
}

}  // namespace tidyloom
