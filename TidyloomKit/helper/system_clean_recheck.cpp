// The re-check at removal time: the path must still be one the scan would offer, reached without
// any symbolic link from its section's root.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <optional>

#include "core/engine_error.h"
#include "helper/system_clean_scanner.h"
#include "helper/system_scan_sections.h"
#include "l10n/l10n.h"
#include "platform/open_files.h"
#include "removal/file_measure.h"
#include "removal/protection_layer.h"

namespace tidyloom {
namespace {

using system_scan::Section;
using system_scan::SectionKind;
using system_scan::Verdict;

constexpr const char* kNotATarget = "路径不属于系统清理目标：%@";
constexpr const char* kChanged = "系统清理路径已变化：%@";

// The components of `path` below `root`, when it lies strictly below it (as written, or below the
// root's canonical form).
std::optional<std::vector<std::string>> componentsBelow(const std::filesystem::path& path,
                                                        const std::filesystem::path& root) {
  for (const std::string& base : {root.lexically_normal().string(), ProtectionLayer::canonicalPath(root)}) {
    std::string prefix = base;
    if (!prefix.ends_with('/')) prefix += '/';
    const std::string text = path.string();
    if (text.size() <= prefix.size() || !text.starts_with(prefix)) continue;
    std::vector<std::string> components;
    for (const auto& part : std::filesystem::path(text.substr(prefix.size()))) components.push_back(part.string());
    return components;
  }
  return std::nullopt;
}

enum class Outcome { offered, changed, mismatch, notInSection };

struct Judgement {
  Outcome outcome;
  Verdict verdict = Verdict::offered;
};

// Every folder from the root down must be a real folder, the entry itself anything but a link.
Judgement judgeNow(const Section& section, const std::vector<std::string>& components, std::int64_t now) {
  struct stat info {};
  if (::lstat(section.root.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return {Outcome::changed};
  std::filesystem::path current = section.root;
  for (size_t i = 0; i < components.size(); ++i) {
    current /= components[i];
    if (::lstat(current.c_str(), &info) != 0 || S_ISLNK(info.st_mode)) return {Outcome::changed};
    if (i + 1 < components.size() && !S_ISDIR(info.st_mode)) return {Outcome::changed};
  }
  const Verdict verdict = system_scan::judge(section, components, info, now);
  if (verdict == Verdict::notInSection) return {Outcome::notInSection, verdict};
  // A section that takes only the files lying in its root holds nothing deeper.
  if (verdict == Verdict::tooDeep && section.kind != SectionKind::systemCacheFiles) {
    return {Outcome::notInSection, verdict};
  }
  if (verdict != Verdict::offered) return {Outcome::mismatch, verdict};
  if (FileMeasure::byteSize(current) < 1) return {Outcome::mismatch, Verdict::tooNew};
  // Root can always ask; a process that cannot ask leaves the last word to the one that removes.
  const auto open = platform::regularFileOpenState(current);
  if (open == platform::OpenState::held || (open == platform::OpenState::unknown && ::geteuid() == 0)) {
    return {Outcome::mismatch, Verdict::inUse};
  }
  return {Outcome::offered, verdict};
}

const char* mismatchMessage(SectionKind kind, Verdict verdict) {
  if (verdict == Verdict::inUse) return "文件正被运行中的程序打开，未删除：%@";
  switch (kind) {
    case SectionKind::systemCacheFiles:
      return "系统缓存类型、深度或年龄不符合清理规则：%@";
    case SectionKind::namedCache:
      return "命名系统缓存已更新或路径变化：%@";
    case SectionKind::systemLogs:
      return verdict == Verdict::tooNew ? "系统日志已更新，重新扫描后再清理：%@"
                                        : "系统日志类型或年龄已变化，重新扫描后再清理：%@";
    case SectionKind::privateVarLogs:
      return "系统日志类型或年龄已变化，重新扫描后再清理：%@";
    case SectionKind::privateDatabase:
      return "系统诊断数据已更新或属于活动数据库：%@";
    case SectionKind::gpuCache:
      return "GPU 缓存已更新或路径不符合清理规则：%@";
    case SectionKind::timeMachine:
      return kChanged;
  }
  return kChanged;
}

void recheck(const std::vector<Section>& sections, const std::string& path) {
  const std::filesystem::path url(path);
  if (path.empty() || !url.is_absolute() || url.lexically_normal().string() != path) {
    throw EngineError::protection(L10n::translate(kNotATarget, {path}));
  }
  const std::int64_t now =
      std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
  // The most specific section (the deepest root) speaks for the path when no section offers it.
  std::optional<std::pair<size_t, const char*>> failure;
  for (const Section& section : sections) {
    const auto components = componentsBelow(url, section.root);
    if (!components) continue;
    const Judgement judgement = judgeNow(section, *components, now);
    if (judgement.outcome == Outcome::offered) return;
    if (judgement.outcome == Outcome::notInSection) continue;
    const char* message =
        judgement.outcome == Outcome::changed ? kChanged : mismatchMessage(section.kind, judgement.verdict);
    const size_t depth = std::distance(section.root.begin(), section.root.end());
    if (!failure || depth >= failure->first) failure = {depth, message};
  }
  throw EngineError::protection(L10n::translate(failure ? failure->second : kNotATarget, {path}));
}

}  // namespace

void SystemCleanScanner::assertPrivilegedRemovableNow(const std::string& path) const {
  recheck(system_scan::privilegedSections(*this, true), path);
}

void SystemCleanScanner::assertRemovableNow(const std::string& path) const {
  std::vector<Section> sections = system_scan::privilegedSections(*this, true);
  for (Section& section : system_scan::userDomainSections(*this)) sections.push_back(std::move(section));
  recheck(sections, path);
}

}  // namespace tidyloom
