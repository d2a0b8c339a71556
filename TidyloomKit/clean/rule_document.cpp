// Strict JSON decoding of the rule file: required keys, exact types, unknown keys ignored.
#include "clean/rule_document.h"

#include <cmath>
#include <limits>

#include <nlohmann/json.hpp>

#include "l10n/l10n.h"

namespace tidyloom::rules {
namespace {

using nlohmann::json;
using DecodingError = CleanTargetsStore::DecodingError;

// One position in the document, for messages such as "rules[2].relativePaths[0]".
class Node {
 public:
  Node(const json& value, std::string path) : value_(value), path_(std::move(path)) {}

  const json& value() const { return value_; }
  const std::string& path() const { return path_; }

  Node required(const char* key) const {
    const json* found = lookup(key);
    // A null value counts as missing, as for the optional keys.
    if (!found || found->is_null()) throw DecodingError(L10n::translate("规则文件缺少必需的键：%@", {child(key)}));
    return {*found, child(key)};
  }
  // Absent and null read the same, as an optional value.
  std::optional<Node> optional(const char* key) const {
    const json* found = lookup(key);
    if (!found || found->is_null()) return std::nullopt;
    return Node(*found, child(key));
  }

  const Node& object() const {
    if (!value_.is_object()) throw typeError(path_, "对象");
    return *this;
  }
  std::vector<Node> array() const {
    if (!value_.is_array()) throw typeError(path_, "数组");
    std::vector<Node> items;
    for (size_t i = 0; i < value_.size(); ++i) items.emplace_back(value_[i], path_ + "[" + std::to_string(i) + "]");
    return items;
  }
  std::string string() const {
    if (!value_.is_string()) throw typeError(path_, "字符串");
    return value_.get<std::string>();
  }
  bool boolean() const {
    if (!value_.is_boolean()) throw typeError(path_, "布尔值");
    return value_.get<bool>();
  }
  // Whole numbers only; 3.0 counts as 3, 3.5 does not.
  std::int64_t integer() const {
    if (value_.is_number_integer()) {
      if (value_.is_number_unsigned() &&
          value_.get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        throw typeError(path_, "整数");
      }
      return value_.get<std::int64_t>();
    }
    if (value_.is_number_float()) {
      const double d = value_.get<double>();
      if (std::trunc(d) == d && std::fabs(d) < 9.2e18) return static_cast<std::int64_t>(d);
    }
    throw typeError(path_, "整数");
  }
  std::vector<std::string> strings() const {
    std::vector<std::string> out;
    for (const Node& item : array()) out.push_back(item.string());
    return out;
  }

 private:
  const json* lookup(const char* key) const {
    object();
    const auto it = value_.find(key);
    return it == value_.end() ? nullptr : &*it;
  }
  std::string child(const char* key) const { return path_.empty() ? key : path_ + "." + key; }
  static DecodingError typeError(const std::string& path, const char* expected) {
    return DecodingError(
        L10n::translate("规则文件中 %@ 的类型不对，应为%@",
                        {path.empty() ? L10n::translate("文件顶层") : path, L10n::translate(expected)}));
  }

  const json& value_;
  std::string path_;
};

std::optional<std::vector<std::string>> optionalStrings(const Node& node, const char* key) {
  if (auto found = node.optional(key)) return found->strings();
  return std::nullopt;
}

CleanTargetsStore::Rule decodeRule(const Node& node) {
  node.object();
  CleanTargetsStore::Rule rule;
  rule.id = node.required("id").string();
  rule.relativePaths = optionalStrings(node, "relativePaths").value_or(std::vector<std::string>{});
  rule.relativePathPatterns = optionalStrings(node, "relativePathPatterns").value_or(std::vector<std::string>{});
  rule.absolutePaths = optionalStrings(node, "absolutePaths").value_or(std::vector<std::string>{});
  if (auto recursive = node.optional("recursiveContents")) rule.recursiveContents = recursive->boolean();
  return rule;
}

GamePlatforms decodeGamePlatforms(const Node& node) {
  node.object();
  GamePlatforms platforms;
  for (const Node& item : node.required("targets").array()) {
    item.object();
    GamePlatformCatalog::Target target;
    target.root = item.required("root").string();
    target.title = item.required("title").string();
    if (auto requiredPath = item.optional("requires")) target.requiredPath = requiredPath->string();
    platforms.targets.push_back(std::move(target));
  }
  platforms.ownedPathMarkers = node.required("ownedPathMarkers").strings();
  return platforms;
}

BrowserCaches decodeBrowserCaches(const Node& node) {
  node.object();
  return BrowserCaches{
      .profileRoots = node.required("profileRoots").strings(),
      .selectiveContainers = node.required("selectiveContainers").strings(),
      .cacheLeafNames = node.required("cacheLeafNames").strings(),
  };
}

std::vector<Gate> decodeGates(const Node& node) {
  node.object();
  std::vector<Gate> gates;
  for (const Node& item : node.required("gates").array()) {
    item.object();
    gates.push_back(Gate{.family = item.required("family").string(), .paths = item.required("paths").strings()});
  }
  return gates;
}

ScanRuleConfig::VersionedCaches decodeVersionedCaches(const Node& node) {
  node.object();
  ScanRuleConfig::VersionedCaches caches;
  if (auto toolbox = node.optional("jetbrainsToolboxApps")) caches.jetbrainsToolboxApps = toolbox->string();
  for (const Node& item : node.required("agentVersions").array()) {
    item.object();
    caches.agentVersions.push_back(
        {.versions = item.required("versions").string(), .launcher = item.required("launcher").string()});
  }
  caches.xcodeDeviceSupport = node.required("xcodeDeviceSupport").strings();
  return caches;
}

AgeGatedCaches::Rule decodeAgeRule(const Node& node) {
  node.object();
  AgeGatedCaches::Rule rule;
  rule.relativeRoot = node.required("relativeRoot").string();
  if (auto suffix = node.optional("fileSuffix")) rule.fileSuffix = suffix->string();
  rule.ageDays = node.required("ageDays").integer();
  rule.maxDepth = node.required("maxDepth").integer();
  rule.section = node.required("section").string();
  return rule;
}

LogFiles decodeLogFiles(const Node& node) {
  node.object();
  const Node project = node.required("projectLogs").object();
  const Node homebrew = node.required("homebrewServiceLogs").object();
  return LogFiles{
      .namePattern = project.required("namePattern").string(),
      .databaseNamePattern = project.required("databaseNamePattern").string(),
      .databaseDirectorySuffixes = project.required("databaseDirectorySuffixes").strings(),
      .databaseDirectoryFragments = project.required("databaseDirectoryFragments").strings(),
      .skippedBundleExtensions = project.required("skippedBundleExtensions").strings(),
      .homebrewNamePattern = homebrew.required("namePattern").string(),
  };
}

}  // namespace

Document decodeDocument(std::string_view data) {
  json parsed;
  try {
    parsed = json::parse(data.begin(), data.end());
  } catch (const json::parse_error& e) {
    throw DecodingError(L10n::translate("规则文件不是有效的 JSON（第 %@ 字节附近）", {std::to_string(e.byte)}));
  } catch (const json::exception&) {
    // The parser refuses numbers no double can hold (1e400) with an error of another kind.
    throw DecodingError(L10n::translate("规则文件中有超出范围的数字"));
  }
  const Node root(parsed, "");
  root.object();
  Document document;
  for (const Node& item : root.required("rules").array()) document.rules.push_back(decodeRule(item));
  if (auto node = root.optional("gamePlatforms")) document.gamePlatforms = decodeGamePlatforms(*node);
  if (auto node = root.optional("browserCaches")) document.browserCaches = decodeBrowserCaches(*node);
  if (auto node = root.optional("developerActivity")) document.developerGates = decodeGates(*node);
  if (auto node = root.optional("productActivity")) document.productGates = decodeGates(*node);
  if (auto node = root.optional("versionedCaches")) document.versionedCaches = decodeVersionedCaches(*node);
  if (auto node = root.optional("ageGatedCaches")) {
    document.ageGatedCaches.emplace();
    for (const Node& item : node->array()) document.ageGatedCaches->push_back(decodeAgeRule(item));
  }
  document.deviceFirmwareRoots = optionalStrings(root, "deviceFirmwareRoots");
  document.mailDownloadRoots = optionalStrings(root, "mailDownloadRoots");
  if (auto node = root.optional("logFiles")) document.logFiles = decodeLogFiles(*node);
  return document;
}

}  // namespace tidyloom::rules
