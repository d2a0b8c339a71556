// Validation of the rule file, in a fixed order where the first failure wins, and where to find it.
#include "clean/clean_targets_store.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include "clean/clean_catalog.h"
#include "clean/icu_regex.h"
#include "clean/rule_document.h"
#include "core/atomic_write.h"
#include "l10n/l10n.h"
#include "platform/host.h"

namespace tidyloom::embedded {
std::string_view ruleFile(std::string_view name);
}  // namespace tidyloom::embedded

namespace tidyloom {
namespace {

using Kind = LoadError::Kind;

std::string_view messageFormat(Kind kind) {
  switch (kind) {
    case Kind::unknownSection:
      return "不支持的清理分组：%@";
    case Kind::emptyRule:
      return "清理分组 %@ 没有任何路径";
    case Kind::invalidRelativePath:
      return "相对路径无效：%@";
    case Kind::invalidAbsolutePath:
      return "绝对路径无效：%@";
    case Kind::unknownFamily:
      return "不支持的进程分组：%@";
    case Kind::invalidEntry:
      return "规则无效：%@";
    case Kind::missingFile:
      return "找不到 clean_targets.json";
    case Kind::emptyDocument:
      return "clean_targets.json 没有任何规则";
  }
  return {};
}

// Unicode general categories Cc and Cf, the platform's control-character set. Bytes that are not
// UTF-8 count as control characters too: such a path cannot be a rule.
bool hasControlCharacter(std::string_view text) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
  const auto length = static_cast<int32_t>(text.size());
  for (int32_t i = 0; i < length;) {
    UChar32 c = 0;
    U8_NEXT(bytes, i, length, c);
    if (c < 0) return true;
    const auto type = u_charType(c);
    if (type == U_CONTROL_CHAR || type == U_FORMAT_CHAR) return true;
  }
  return false;
}

bool hasDotComponent(std::string_view path) {
  size_t start = 0;
  while (start <= path.size()) {
    const size_t end = std::min(path.find('/', start), path.size());
    const std::string_view component = path.substr(start, end - start);
    if (component == "." || component == "..") return true;
    start = end + 1;
  }
  return false;
}

bool hasWildcard(std::string_view path) { return path.find('*') != std::string_view::npos; }

std::string trimmingOneSlash(const std::string& path) {
  return path.ends_with('/') ? path.substr(0, path.size() - 1) : path;
}

void requireRelative(const std::string& path) {
  if (!CleanTargetsStore::validRelativePath(path) || hasWildcard(path)) {
    throw LoadError(Kind::invalidRelativePath, path);
  }
}

void requireEntry(bool valid, const std::string& payload) {
  if (!valid) throw LoadError(Kind::invalidEntry, payload);
}

bool validName(const std::string& name) { return !name.empty() && name.find('/') == std::string::npos; }

template <typename Family>
std::vector<ActivityGate<typename Family::Family>> validateGates(const std::vector<rules::Gate>& gates) {
  std::vector<ActivityGate<typename Family::Family>> out;
  for (const rules::Gate& gate : gates) {
    const auto family = Family::familyFromRaw(gate.family);
    if (!family) throw LoadError(Kind::unknownFamily, gate.family);
    if (gate.paths.empty()) throw LoadError(Kind::emptyRule, gate.family);
    for (const std::string& path : gate.paths) requireRelative(trimmingOneSlash(path));
    out.push_back({*family, gate.paths});
  }
  return out;
}

ScanRuleConfig::LogFiles validateLogFiles(const rules::LogFiles& logs) {
  for (const std::string* pattern : {&logs.namePattern, &logs.databaseNamePattern, &logs.homebrewNamePattern}) {
    requireEntry(!pattern->empty() && IcuRegex::compile(*pattern) != nullptr, *pattern);
  }
  for (const auto* list :
       {&logs.databaseDirectorySuffixes, &logs.databaseDirectoryFragments, &logs.skippedBundleExtensions}) {
    for (const std::string& entry : *list) requireEntry(validName(entry), entry);
  }
  ScanRuleConfig::LogFiles out;
  out.projectLogs = {
      .namePattern = logs.namePattern,
      .databaseNamePattern = logs.databaseNamePattern,
      .databaseDirectorySuffixes = logs.databaseDirectorySuffixes,
      .databaseDirectoryFragments = logs.databaseDirectoryFragments,
      .skippedBundleExtensions = {logs.skippedBundleExtensions.begin(), logs.skippedBundleExtensions.end()},
  };
  out.homebrewServiceLogs.namePattern = logs.homebrewNamePattern;
  return out;
}

}  // namespace

LoadError::LoadError(Kind kind, std::string payload)
    : kind_(kind), payload_(std::move(payload)), message_(L10n::translate(messageFormat(kind), {payload_})) {}

bool CleanTargetsStore::validRelativePath(std::string_view path) {
  if (path.empty() || path.starts_with('/') || path.starts_with('~') || path.ends_with('/')) return false;
  if (path.find("//") != std::string_view::npos || hasControlCharacter(path)) return false;
  return !hasDotComponent(path);
}

bool CleanTargetsStore::validAbsolutePath(std::string_view path) {
  if (path == "/" || !path.starts_with('/') || path.ends_with('/')) return false;
  if (path.find("//") != std::string_view::npos || hasControlCharacter(path)) return false;
  return !hasDotComponent(path);
}

SectionRule CleanTargetsStore::sectionRule(const Rule& rule) {
  if (!CleanCatalog::knownSectionIDs().contains(rule.id)) throw LoadError(Kind::unknownSection, rule.id);
  for (const std::string& path : rule.relativePaths) requireRelative(path);
  for (const std::string& path : rule.relativePathPatterns) {
    if (!validRelativePath(path)) throw LoadError(Kind::invalidRelativePath, path);
  }
  for (const std::string& path : rule.absolutePaths) {
    if (!validAbsolutePath(path)) throw LoadError(Kind::invalidAbsolutePath, path);
  }
  if (rule.relativePaths.empty() && rule.relativePathPatterns.empty() && rule.absolutePaths.empty()) {
    throw LoadError(Kind::emptyRule, rule.id);
  }
  return SectionRule{
      .id = rule.id,
      .relativePaths = rule.relativePaths,
      .relativePathPatterns = rule.relativePathPatterns,
      .absolutePaths = rule.absolutePaths,
      .recursiveContents = rule.recursiveContents.value_or(false),
  };
}

ScanRuleConfig CleanTargetsStore::decode(std::string_view data) {
  const rules::Document document = rules::decodeDocument(data);
  if (document.rules.empty()) throw LoadError(Kind::emptyDocument);

  ScanRuleConfig config;
  for (const Rule& rule : document.rules) config.cleanRules.push_back(sectionRule(rule));

  if (const auto& games = document.gamePlatforms) {
    for (const GamePlatformCatalog::Target& target : games->targets) {
      if (!validRelativePath(target.root)) throw LoadError(Kind::invalidRelativePath, target.root);
      if (target.requiredPath) requireRelative(*target.requiredPath);
      requireEntry(!target.title.empty(), target.root);
    }
    for (const std::string& marker : games->ownedPathMarkers) requireRelative(trimmingOneSlash(marker));
    config.gameTargets = games->targets;
    config.gamePathMarkers = games->ownedPathMarkers;
  }

  if (const auto& browsers = document.browserCaches) {
    for (const std::string& root : browsers->profileRoots) requireRelative(root);
    for (const std::string& root : browsers->selectiveContainers) requireRelative(root);
    for (const std::string& name : browsers->cacheLeafNames) requireEntry(validName(name), name);
    config.browserCaches = {
        .profileRoots = browsers->profileRoots,
        .selectiveContainers = browsers->selectiveContainers,
        .cacheLeafNames = {browsers->cacheLeafNames.begin(), browsers->cacheLeafNames.end()},
    };
  }

  if (document.developerGates) config.developerGates = validateGates<DeveloperCacheActivity>(*document.developerGates);
  if (document.productGates) config.productGates = validateGates<ProductProcessActivity>(*document.productGates);

  if (const auto& versioned = document.versionedCaches) {
    if (versioned->jetbrainsToolboxApps) requireRelative(*versioned->jetbrainsToolboxApps);
    for (const auto& agent : versioned->agentVersions) {
      requireRelative(agent.versions);
      requireRelative(agent.launcher);
    }
    for (const std::string& folder : versioned->xcodeDeviceSupport) requireRelative(folder);
    config.versionedCaches = *versioned;
  }

  if (const auto& ageRules = document.ageGatedCaches) {
    for (const AgeGatedCaches::Rule& rule : *ageRules) {
      requireRelative(rule.relativeRoot);
      const bool valid = rule.ageDays >= 0 && rule.maxDepth >= 0 && (!rule.fileSuffix || !rule.fileSuffix->empty()) &&
                         CleanCatalog::knownSectionIDs().contains(rule.section);
      requireEntry(valid, rule.relativeRoot);
    }
    config.ageGatedCaches = *ageRules;
  }

  const std::vector<std::string> none;
  for (const std::string& root : document.deviceFirmwareRoots.value_or(none)) requireRelative(root);
  for (const std::string& root : document.mailDownloadRoots.value_or(none)) requireRelative(root);
  config.deviceFirmwareRoots = document.deviceFirmwareRoots.value_or(none);
  config.mailDownloadRoots = document.mailDownloadRoots.value_or(none);

  if (document.logFiles) config.logFiles = validateLogFiles(*document.logFiles);
  return config;
}

RulePlatform CleanTargetsStore::hostPlatform() {
  return platform::hostIsDarwin() ? RulePlatform::macOS : RulePlatform::linuxDesktop;
}

std::string_view CleanTargetsStore::resourceName(RulePlatform platform) {
  return platform == RulePlatform::macOS ? "clean_targets.macos.json" : "clean_targets.linux.json";
}

std::optional<std::filesystem::path> CleanTargetsStore::defaultFileURL() { return defaultFileURL(hostPlatform()); }

std::optional<std::filesystem::path> CleanTargetsStore::defaultFileURL(RulePlatform platform) {
  const std::filesystem::path installed = std::filesystem::path(TIDYLOOM_RESOURCE_DIR) / resourceName(platform);
  std::error_code error;
  if (std::filesystem::is_regular_file(installed, error)) return installed;
  return std::nullopt;
}

std::string_view CleanTargetsStore::embeddedRules(RulePlatform platform) {
  return embedded::ruleFile(resourceName(platform));
}

ScanRuleConfig CleanTargetsStore::load() const {
  const std::optional<std::filesystem::path> url = fileURL ? fileURL : defaultFileURL(platform);
  if (!url) {
    const std::string_view builtIn = embeddedRules(platform);
    if (builtIn.empty()) throw LoadError(Kind::missingFile);
    return decode(builtIn);
  }
  std::string contents;
  std::error_code error;
  if (std::filesystem::is_directory(*url, error) || !readWholeFile(*url, contents)) throw LoadError(Kind::missingFile);
  return decode(contents);
}

}  // namespace tidyloom
