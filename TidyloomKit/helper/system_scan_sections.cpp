// Roots and rules of the system clean sections.
#include "helper/system_scan_sections.h"

#include <algorithm>

#include "platform/file_times.h"

namespace tidyloom::system_scan {
namespace {

std::string lowerExtension(const std::string& name) {
  const size_t dot = name.rfind('.');
  if (dot == std::string::npos || dot == 0) return {};
  std::string extension = name.substr(dot + 1);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c); });
  return extension;
}

bool allDigits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

bool isRotatedLogName(std::string_view name) {
  const std::string extension = lowerExtension(std::string(name));
  if (extension == "gz" || extension == "xz" || extension == "zst" || extension == "bz2" || extension == "old") {
    return true;
  }
  if (allDigits(extension)) return true;  // "syslog.1", "dpkg.log.12"
  // "messages-20261101", "syslog-2026110112"
  const size_t dash = name.rfind('-');
  return dash != std::string_view::npos && dash > 0 && name.size() - dash - 1 >= 8 && allDigits(name.substr(dash + 1));
}

const char* areaName(SectionKind kind) {
  switch (kind) {
    case SectionKind::systemCacheFiles:
      return "systemCacheFiles";
    case SectionKind::privateVarLogs:
      return "privateVarLogs";
    case SectionKind::namedCache:
      return "namedCaches";
    case SectionKind::systemLogs:
      return "systemLogs";
    case SectionKind::privateDatabase:
      return "privateDatabase";
    case SectionKind::gpuCache:
      return "gpuCaches";
    case SectionKind::timeMachine:
      return "timeMachine";
  }
  return "";
}

std::vector<Section> privilegedSections(const SystemCleanScanner& scanner, bool includesRebuildableCaches) {
  const SystemScanNames& names = scanner.names;
  const ScanRoots& roots = scanner.roots;
  const std::int64_t age = scanner.maxAgeDays;
  std::vector<Section> sections;
  // In the order the daemon serves them: cache files, var logs, named caches, system logs, database.
  sections.push_back({SectionKind::systemCacheFiles, roots.systemLibraryCaches, kMaxDepth, names.systemCacheExtensions,
                      age, false, true});
  sections.push_back({SectionKind::privateVarLogs, roots.privateVarLog, kMaxDepth, names.logExtensions, age, false,
                      true, names.rotatedLogsOnly});
  if (includesRebuildableCaches) {
    for (const std::string& name : names.namedCaches) {
      sections.push_back({SectionKind::namedCache, roots.systemLibraryCaches / name, kMaxDepth, {}, age, false, true});
    }
  }
  // Files lying directly in the system logs folder, and the log folders known by name; other
  // vendors' folders may hold live state and are left alone.
  sections.push_back({SectionKind::systemLogs, roots.systemLibraryLogs, 1, {}, age, false, true});
  for (const std::string& folder : names.systemLogFolders) {
    sections.push_back({SectionKind::systemLogs, roots.systemLibraryLogs / folder, kMaxDepth, {}, age, false, true});
  }
  for (const auto& folder : names.diagnosticFolders) {
    sections.push_back({SectionKind::privateDatabase,
                        roots.privateVarDB / folder.relativePath,
                        kMaxDepth,
                        {},
                        folder.fixedAgeDays > 0 ? folder.fixedAgeDays : age,
                        folder.rejectsLiveFolder,
                        true});
  }
  return sections;
}

std::vector<Section> userDomainSections(const SystemCleanScanner& scanner) {
  std::vector<Section> sections;
  for (const std::string& name : scanner.names.gpuCaches) {
    sections.push_back(
        {SectionKind::gpuCache, scanner.roots.darwinUserCache / name, kMaxDepth, {}, scanner.maxAgeDays, false, false});
  }
  for (const std::string& relative : scanner.names.timeMachineData) {
    sections.push_back(
        {SectionKind::timeMachine, scanner.roots.home / relative, kMaxDepth, {}, scanner.maxAgeDays, false, false});
  }
  return sections;
}

Verdict judge(const Section& section, const std::vector<std::string>& components, const struct stat& info,
              std::int64_t nowNanoseconds) {
  if (components.empty()) return Verdict::notInSection;
  for (const std::string& component : components) {
    if (component.empty() || component.front() == '.') return Verdict::notInSection;
  }
  if (static_cast<int>(components.size()) > section.maxDepth) return Verdict::tooDeep;
  if (!S_ISREG(info.st_mode)) return Verdict::wrongType;
  // The marker that tells backup tools a folder is a cache carries the owner's intent, not data.
  if (components.back() == "CACHEDIR.TAG") return Verdict::wrongType;
  if (!section.extensions.empty() && !section.extensions.contains(lowerExtension(components.back()))) {
    return Verdict::wrongType;
  }
  if (section.rotatedOnly && !isRotatedLogName(components.back())) return Verdict::liveData;
  if (section.rejectsLiveFolder &&
      std::find(components.begin(), components.end() - 1, "Current") != components.end() - 1) {
    return Verdict::liveData;
  }
  const std::int64_t modified = platform::modificationNanoseconds(info);
  const std::int64_t cutoff = nowNanoseconds - section.ageDays * 86'400 * 1'000'000'000;
  if (modified >= cutoff) return Verdict::tooNew;
  return Verdict::offered;
}

}  // namespace tidyloom::system_scan
