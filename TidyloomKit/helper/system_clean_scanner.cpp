// The walk of the system clean sections: directory descriptors, no link followed, depth-limited.
#include "helper/system_clean_scanner.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <set>

#include "helper/system_scan_sections.h"
#include "platform/open_files.h"
#include "removal/file_measure.h"

namespace tidyloom {
namespace {

using system_scan::Section;
using system_scan::Verdict;

std::int64_t nowNanoseconds() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

class SectionWalk {
 public:
  SectionWalk(const SystemScanRequest& request, SystemScanReport& report)
      : request_(request), report_(report), now_(nowNanoseconds()) {}

  void walk(const Section& section) {
    struct stat info {};
    if (::lstat(section.root.c_str(), &info) != 0) {
      if (errno == EACCES) unreadable(section.root.string());
      return;
    }
    // A root that is a link could lead anywhere: the section yields nothing.
    if (!S_ISDIR(info.st_mode)) return;
    const int fd = ::open(section.root.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
      if (errno == EACCES || errno == EPERM) unreadable(section.root.string());
      return;
    }
    std::vector<std::string> components;
    walkFolder(section, fd, section.root, components);
  }

  bool stopped() const { return request_.stop.stop_requested(); }

 private:
  struct Entry {
    std::string name;
    struct stat info;
  };

  // Takes ownership of `fd`.
  void walkFolder(const Section& section, int fd, const std::filesystem::path& folder,
                  std::vector<std::string>& components) {
    DIR* dir = ::fdopendir(fd);
    if (!dir) {
      (void)::close(fd);
      return;
    }
    std::vector<Entry> entries;
    while (const dirent* entry = ::readdir(dir)) {
      const std::string_view name = entry->d_name;
      if (name.empty() || name.front() == '.') continue;  // hidden entries, "." and ".."
      Entry item{std::string(name), {}};
      if (::fstatat(::dirfd(dir), entry->d_name, &item.info, AT_SYMLINK_NOFOLLOW) != 0) continue;
      entries.push_back(std::move(item));
    }
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.name < b.name; });
    progress(folder);
    for (const Entry& entry : entries) {
      if (stopped()) break;
      components.push_back(entry.name);
      const std::filesystem::path path = folder / entry.name;
      if (S_ISDIR(entry.info.st_mode)) {
        if (static_cast<int>(components.size()) < section.maxDepth) {
          const int child = ::openat(::dirfd(dir), entry.name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
          if (child >= 0) {
            walkFolder(section, child, path, components);
          } else if (errno == EACCES || errno == EPERM) {
            unreadable(path.string());
          }
        }
      } else if (system_scan::judge(section, components, entry.info, now_) == Verdict::offered) {
        offer(section, path);
      }
      components.pop_back();
    }
    ::closedir(dir);
  }

  void offer(const Section& section, const std::filesystem::path& path) {
    // A file a running program has open is being used. One this process cannot ask about is still
    // listed: its removal, with the rights to ask, checks again.
    if (platform::regularFileOpenState(path) == platform::OpenState::held) return;
    const std::uint64_t bytes = FileMeasure::byteSize(path, request_.tally);
    if (bytes < 1) return;
    report_.candidates.push_back(CleanupCandidate{path.string(), "systemCaches", bytes, true});
    report_.candidateAreas.emplace_back(system_scan::areaName(section.kind));
  }

  void unreadable(std::string path) { report_.unreadableFolders.push_back(std::move(path)); }

  void progress(const std::filesystem::path& folder) {
    if (!request_.progress) return;
    const auto now = std::chrono::steady_clock::now();
    if (now - lastProgress_ < std::chrono::milliseconds(80)) return;
    lastProgress_ = now;
    request_.progress(
        ScanProgress{folder.string(), std::nullopt, static_cast<std::int64_t>(report_.candidates.size())});
  }

  const SystemScanRequest& request_;
  SystemScanReport& report_;
  std::int64_t now_;
  std::chrono::steady_clock::time_point lastProgress_{};
};

std::vector<CleanupCandidate> walkSections(const std::vector<Section>& sections) {
  SystemScanReport report;
  const SystemScanRequest request;  // the walk keeps a reference: it must outlive it
  SectionWalk walk(request, report);
  for (const Section& section : sections) walk.walk(section);
  return report.candidates;
}

std::vector<Section> ofKind(std::vector<Section> sections, system_scan::SectionKind kind) {
  std::erase_if(sections, [kind](const Section& section) { return section.kind != kind; });
  return sections;
}

}  // namespace

std::vector<CleanupCandidate> SystemCleanScanner::scanSystemCacheFiles() const {
  return walkSections(
      ofKind(system_scan::privilegedSections(*this, false), system_scan::SectionKind::systemCacheFiles));
}
std::vector<CleanupCandidate> SystemCleanScanner::scanPrivateVarLogs() const {
  return walkSections(ofKind(system_scan::privilegedSections(*this, false), system_scan::SectionKind::privateVarLogs));
}
std::vector<CleanupCandidate> SystemCleanScanner::scanNamedCaches() const {
  return walkSections(ofKind(system_scan::privilegedSections(*this, true), system_scan::SectionKind::namedCache));
}
std::vector<CleanupCandidate> SystemCleanScanner::scanSystemLogs() const {
  return walkSections(ofKind(system_scan::privilegedSections(*this, false), system_scan::SectionKind::systemLogs));
}
std::vector<CleanupCandidate> SystemCleanScanner::scanPrivateDatabase() const {
  return walkSections(ofKind(system_scan::privilegedSections(*this, false), system_scan::SectionKind::privateDatabase));
}

std::vector<CleanupCandidate> SystemCleanScanner::scanPrivileged(bool includesRebuildableCaches) const {
  return scan(SystemScanRequest{.includesRebuildableCaches = includesRebuildableCaches, .userDomain = false})
      .candidates;
}

std::vector<CleanupCandidate> SystemCleanScanner::scanUserDomain(bool includesRebuildableCaches) const {
  return scan(SystemScanRequest{.includesRebuildableCaches = includesRebuildableCaches, .privileged = false})
      .candidates;
}

std::vector<CleanupCandidate> SystemCleanScanner::scan(bool includesRebuildableCaches) const {
  return scan(SystemScanRequest{.includesRebuildableCaches = includesRebuildableCaches}).candidates;
}

SystemScanReport SystemCleanScanner::scan(const SystemScanRequest& request) const {
  std::vector<Section> sections;
  if (request.privileged) sections = system_scan::privilegedSections(*this, request.includesRebuildableCaches);
  if (request.userDomain) {
    for (Section& section : system_scan::userDomainSections(*this)) {
      // GPU caches are caches the system rebuilds; they come only when those are asked for.
      if (section.kind == system_scan::SectionKind::gpuCache && !request.includesRebuildableCaches) continue;
      sections.push_back(std::move(section));
    }
  }
  SystemScanReport report;
  SectionWalk walk(request, report);
  for (const Section& section : sections) {
    if (walk.stopped()) break;
    walk.walk(section);
  }
  report.interrupted = walk.stopped();
  // A named cache lies inside the system caches folder: keep each path once, as first found.
  std::set<std::string> seen;
  size_t kept = 0;
  for (size_t i = 0; i < report.candidates.size(); ++i) {
    if (!seen.insert(report.candidates[i].path).second) continue;
    if (kept != i) {
      report.candidates[kept] = std::move(report.candidates[i]);
      report.candidateAreas[kept] = std::move(report.candidateAreas[i]);
    }
    ++kept;
  }
  report.candidates.resize(kept);
  report.candidateAreas.resize(kept);
  return report;
}

}  // namespace tidyloom
