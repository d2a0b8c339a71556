// Fixed name sets and exclusion rules of the space lens.
#include "analysis/space_lens.h"

#include <sys/stat.h>

#include <algorithm>
#include <nlohmann/json.hpp>

namespace tidyloom {

std::string_view rawValue(SpaceLensExclusion exclusion) {
  switch (exclusion) {
    case SpaceLensExclusion::cloudOrMedia:
      return "cloudOrMedia";
    case SpaceLensExclusion::needsFullDiskAccess:
      return "needsFullDiskAccess";
  }
  return {};
}

void to_json(nlohmann::json& json, const SpaceLensItem& item) {
  json = nlohmann::json{{"name", item.name},   {"path", item.path},    {"size", item.size},
                        {"isDir", item.isDir}, {"itemCount", nullptr}, {"exclusion", nullptr}};
  if (item.itemCount) json["itemCount"] = *item.itemCount;
  if (item.exclusion) json["exclusion"] = rawValue(*item.exclusion);
}

void to_json(nlohmann::json& json, const SpaceLensListing& listing) {
  json = nlohmann::json{{"path", listing.path},
                        {"totalSize", listing.totalSize},
                        {"items", listing.items},
                        {"omittedCount", listing.omittedCount}};
}

// Each set is built on first use; function-local statics make that thread-safe.
const SpaceLens::NameSet& SpaceLens::rootSkippedNames() {
  static const NameSet names{"dev",
                             "tmp",
                             "private",
                             "cores",
                             "net",
                             "home",
                             "System",
                             "sbin",
                             "bin",
                             "etc",
                             "var",
                             "Volumes",
                             "Network",
                             ".vol",
                             ".Spotlight-V100",
                             ".fseventsd",
                             ".DocumentRevisions-V100",
                             ".TemporaryItems",
                             ".MobileBackups",
                             ".nofollow",
                             ".resolve"};
  return names;
}

const SpaceLens::NameSet& SpaceLens::skippedNames() {
  static const NameSet names{"nfs",    "PHD",           "Permissions",    "OrbStack",
                             "Colima", "VMware Fusion", "VirtualBox VMs", "Rancher Desktop",
                             ".lima",  ".colima",       ".orbstack"};
  return names;
}

const SpaceLens::NameSet& SpaceLens::cloudLibraryNames() {
  static const NameSet names{"Mobile Documents", "CloudStorage"};
  return names;
}

const SpaceLens::NameSet& SpaceLens::mediaContainerNames() {
  static const NameSet names{
      "com.apple.Music",  "com.apple.AMPLibraryAgent", "com.apple.AMPArtworkAgent", "com.apple.TV",
      "com.apple.Photos", "com.apple.photoanalysisd",  "com.apple.mediaanalysisd",  "com.apple.photolibraryd"};
  return names;
}

const SpaceLens::NameSet& SpaceLens::mediaLibraryExtensions() {
  static const NameSet names{"photoslibrary", "photolibrary", "musiclibrary", "tvlibrary"};
  return names;
}

const SpaceLens::NameSet& SpaceLens::protectedHomeNames() {
  static const NameSet names{"Desktop", "Documents", "Downloads", "Movies", "Music", "Pictures"};
  return names;
}

const SpaceLens::NameSet& SpaceLens::protectedLibraryNames() {
  static const NameSet names{
      "Containers", "Group Containers", "Daemon Containers", "Mail",     "Messages", "Safari",           "Cookies",
      "Calendars",  "HomeKit",          "Suggestions",       "Metadata", "Biome",    "IdentityServices", "Accounts",
      "Sharing"};
  return names;
}

const SpaceLens::NameSet& SpaceLens::protectedSupportNames() {
  static const NameSet names{"AddressBook",   "CallHistoryDB", "CallHistoryTransactions",
                             "com.apple.TCC", "Knowledge",     "MobileSync"};
  return names;
}

std::string SpaceLens::childPath(std::string_view parent, std::string_view name) {
  std::string path;
  path.reserve(parent.size() + 1 + name.size());
  path.append(parent);
  if (parent != "/") path.push_back('/');
  path.append(name);
  return path;
}

bool SpaceLens::isSkipped(std::string_view parent, std::string_view name) {
  return skippedNames().contains(name) || (parent == "/" && rootSkippedNames().contains(name));
}

namespace {

bool endsWith(std::string_view text, std::string_view suffix) { return text.ends_with(suffix); }

std::string lowerAscii(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c); });
  return lower;
}

// The real home, or "/Users/" followed by exactly one non-empty component.
bool isHomeFolder(std::string_view path, std::string_view home) {
  if (!home.empty() && path == home) return true;
  constexpr std::string_view kUsers = "/Users/";
  if (!path.starts_with(kUsers)) return false;
  const auto rest = path.substr(kUsers.size());
  return !rest.empty() && rest.find('/') == std::string_view::npos;
}

}  // namespace

bool SpaceLens::isCloudOrMedia(std::string_view parent, std::string_view name) {
  if (cloudLibraryNames().contains(name) && endsWith(parent, "/Library")) return true;
  if (mediaContainerNames().contains(name)) return true;
  if (name == "Music" && endsWith(parent, "/Music")) return true;
  const auto dot = name.rfind('.');
  if (dot != std::string_view::npos && dot > 0) {
    return mediaLibraryExtensions().contains(lowerAscii(name.substr(dot + 1)));
  }
  return false;
}

bool SpaceLens::isProtected(std::string_view parent, std::string_view name, std::string_view home) {
  if (protectedHomeNames().contains(name) && isHomeFolder(parent, home)) return true;
  constexpr std::string_view kLibrary = "/Library";
  constexpr std::string_view kSupport = "/Library/Application Support";
  if (protectedLibraryNames().contains(name) && endsWith(parent, kLibrary)) {
    return isHomeFolder(parent.substr(0, parent.size() - kLibrary.size()), home);
  }
  if (protectedSupportNames().contains(name) && endsWith(parent, kSupport)) {
    return isHomeFolder(parent.substr(0, parent.size() - kSupport.size()), home);
  }
  return false;
}

std::optional<SpaceLensExclusion> SpaceLens::exclusion(std::string_view parent, std::string_view name,
                                                       bool skipsProtected, std::string_view home) {
  if (isCloudOrMedia(parent, name)) return SpaceLensExclusion::cloudOrMedia;
  if (skipsProtected && isProtected(parent, name, home)) return SpaceLensExclusion::needsFullDiskAccess;
  return std::nullopt;
}

std::set<std::uint64_t> SpaceLens::devices(const std::string& path) {
  std::set<std::uint64_t> result;
  struct stat st {};
  if (::stat(path.c_str(), &st) == 0) result.insert(static_cast<std::uint64_t>(st.st_dev));
  // The data volume of the macOS system volume group shares the walk; elsewhere it does not exist.
  if (path == "/" && ::stat("/System/Volumes/Data", &st) == 0) result.insert(static_cast<std::uint64_t>(st.st_dev));
  return result;
}

}  // namespace tidyloom
