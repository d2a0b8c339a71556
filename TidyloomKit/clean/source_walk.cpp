// File-system helpers of the clean sources.
#include "clean/source_walk.h"

#include <dirent.h>
#include <sys/stat.h>

#include <memory>

namespace tidyloom {

std::optional<EntryFacts> entryFacts(const std::filesystem::path& path) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0) return std::nullopt;
  return EntryFacts{S_ISDIR(info.st_mode), S_ISREG(info.st_mode), S_ISLNK(info.st_mode),
                    static_cast<std::int64_t>(info.st_mtime)};
}

std::vector<std::string> childNames(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(folder.c_str()), ::closedir);
  if (!dir) return names;
  while (const dirent* entry = ::readdir(dir.get())) {
    const std::string_view name(entry->d_name);
    if (name == "." || name == "..") continue;
    names.emplace_back(name);
  }
  return names;
}

std::int64_t epochSecondsNow() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

bool olderThanDays(std::int64_t modified, std::int64_t days, std::int64_t now) { return modified < now - days * 86400; }

namespace {

void walkLevel(const std::filesystem::path& folder, int depth, int maxDepth, const CancellationToken& stop,
               const ScanTallyRef& tally,
               const std::function<void(const std::filesystem::path&, const EntryFacts&, int)>& visit) {
  for (const auto& name : childNames(folder)) {
    if (stop.stop_requested()) return;
    if (name.starts_with('.')) continue;
    const auto path = folder / name;
    const auto facts = entryFacts(path);
    if (!facts || facts->link) continue;
    if (tally) tally->add();
    if (facts->regular) visit(path, *facts, depth);
    if (facts->directory && depth < maxDepth) walkLevel(path, depth + 1, maxDepth, stop, tally, visit);
  }
}

}  // namespace

void walkFiles(const std::filesystem::path& root, int maxDepth, const CancellationToken& stop,
               const ScanTallyRef& tally,
               const std::function<void(const std::filesystem::path&, const EntryFacts&, int depth)>& visit) {
  const auto facts = entryFacts(root);
  if (!facts || !facts->directory) return;  // a root that is a link yields nothing
  walkLevel(root, 1, maxDepth, stop, tally, visit);
}

std::optional<int> depthBelow(const std::filesystem::path& path, const std::filesystem::path& root) {
  const auto relative = path.lexically_normal().lexically_relative(root.lexically_normal());
  if (relative.empty() || relative == ".") return std::nullopt;
  int depth = 0;
  for (const auto& part : relative) {
    if (part == "..") return std::nullopt;
    ++depth;
  }
  return depth;
}

bool noLinkBetween(const std::filesystem::path& root, const std::filesystem::path& path) {
  const auto relative = path.lexically_normal().lexically_relative(root.lexically_normal());
  auto current = root.lexically_normal();
  const auto rootFacts = entryFacts(current);
  if (!rootFacts || rootFacts->link) return false;
  for (const auto& part : relative) {
    if (part == "..") return false;
    current /= part;
    const auto facts = entryFacts(current);
    if (!facts || facts->link) return false;
  }
  return true;
}

}  // namespace tidyloom
