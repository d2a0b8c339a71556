// The protection layer's tables and rules, applied in a fixed order; the first rule that fires refuses.
#include "removal/protection_layer.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <span>
#include <string_view>
#include <vector>

#include "core/engine_error.h"
#include "l10n/l10n.h"
#include "platform/system_paths.h"

namespace tidyloom {
namespace fs = std::filesystem;
namespace {

constexpr std::array<std::string_view, 6> kSystemPrefixes{
    "/System", "/usr/bin", "/usr/sbin", "/bin", "/sbin", "/Applications/Utilities",
};
constexpr std::array<std::string_view, 4> kDiagnosticFolders{
    "diagnostics",
    "DiagnosticPipeline",
    "powerlog",
    "reportmemoryexception/MemoryLimitViolations",
};
constexpr std::array<std::string_view, 9> kTopLevelHomeFolders{
    "Applications", "Desktop", "Documents", "Downloads", "Library", "Movies", "Music", "Pictures", "Public",
};
constexpr std::array<std::string_view, 10> kEndpointSecurityMarkers{
    "com.crowdstrike.",
    "com.sentinelone.",
    "com.sentinel-labs.",
    "com.eset.",
    "com.jamf.",
    "com.jamfsoftware.",
    "com.paloaltonetworks.",
    "com.cisco.anyconnect",
    "com.cisco.secureclient",
    "com.alibaba.security.",
};
constexpr std::array<std::string_view, 3> kUninstallRoots{"/Applications", "/opt/homebrew/Caskroom",
                                                          "/usr/local/Caskroom"};

std::string withoutTrailingSlash(std::string text) {
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return text;
}

// The standardised form of a root: "." and ".." removed, no trailing separator.
fs::path standardised(const fs::path& path) { return withoutTrailingSlash(path.lexically_normal().string()); }

[[noreturn]] void refuse(std::string_view format, const std::string& path) {
  throw EngineError::protection(L10n::translate(format, {path}));
}

[[noreturn]] void refuse(std::string_view message) { throw EngineError::protection(L10n::translate(message)); }

}  // namespace

bool isUnder(std::string_view path, std::string_view root) {
  if (root == "/") return path.starts_with('/');
  return path == root || (path.size() > root.size() && path.starts_with(root) && path[root.size()] == '/');
}

ProtectionLayer ProtectionLayer::forFixture(const fs::path& fixtureRoot) {
  ProtectionLayer layer;
  layer.fixtureRoot_ = standardised(fixtureRoot);
  return layer;
}

std::string ProtectionLayer::canonicalPath(const fs::path& url) {
  std::error_code ec;
  const fs::path absolute = url.is_absolute() ? url : fs::absolute(url, ec);
  fs::path resolved = fs::weakly_canonical(absolute, ec);
  if (ec) resolved = absolute.lexically_normal();
  return platform::withPrivateAlias(withoutTrailingSlash(resolved.string()));
}

bool ProtectionLayer::isEndpointSecurityCachePath(const std::string& path) {
  std::string lower = path;
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (!lower.starts_with("/private/var/folders/") && !lower.starts_with("/var/folders/")) return false;
  return std::any_of(kEndpointSecurityMarkers.begin(), kEndpointSecurityMarkers.end(),
                     [&](std::string_view marker) { return lower.find(marker) != std::string::npos; });
}

void ProtectionLayer::assertRemovable(const std::string& path, const ScanRoots& roots, RemovalScope scope) const {
  assertRemovable(path, path, roots, scope);
}

// The user's secrets, relative to the home folder: refused in every scope, and so is any folder
// that holds one of them.
constexpr std::array<std::string_view, 4> kSecretFolders{".ssh", ".gnupg", ".local/share/keyrings", ".password-store"};
// Browser profile files holding passwords and sessions, refused wherever they lie in the home.
constexpr std::array<std::string_view, 4> kSecretFiles{"Cookies", "Login Data", "key4.db", "logins.json"};

void ProtectionLayer::assertRemovable(const std::string& resolved, const std::string& path, const ScanRoots& roots,
                                      RemovalScope scope) const {
  const std::string p = canonicalPath(resolved);
  const std::string h = canonicalPath(standardised(roots.home));
  // A fixture run never reaches outside its folder, and its system folders lie inside it.
  const std::string top = fixtureRoot_ ? canonicalPath(*fixtureRoot_) : std::string();
  const auto system = [&](std::string_view prefix) { return top + std::string(prefix); };
  if (fixtureRoot_ && !isUnder(p, top)) refuse("路径超出允许范围：%@", path);

  if (isEndpointSecurityCachePath(p)) refuse("端点安全组件缓存受保护：%@", path);
  for (const auto prefix : kSystemPrefixes) {
    if (isUnder(p, system(prefix))) refuse("受保护路径：%@", path);
  }
  const auto onExternalVolume = [&] {
    const auto folders = platform::externalVolumeFolders();
    return std::any_of(folders.begin(), folders.end(),
                       [&](const std::string& folder) { return p.starts_with(system(folder) + "/"); });
  };
  for (const auto prefix : platform::extraSystemPrefixes()) {
    // Removable media mounted under /run/media/<user> are the one part of /run a volume clean reaches.
    if (isUnder(p, system(prefix)) && !(scope == RemovalScope::externalVolume && onExternalVolume())) {
      refuse("受保护路径：%@", path);
    }
  }
  // The root of the whole system is named as such, not as the home folder.
  if (p == "/" || (fixtureRoot_ && p == top && p != h)) refuse("受保护路径：%@", path);
  const std::string db = canonicalPath(standardised(roots.privateVarDB));
  // The diagnostic folders of the database root are the system scan's: the macOS ones in a
  // (macOS-shaped) fixture, this platform's own otherwise.
  const std::span<const std::string_view> diagnostics =
      fixtureRoot_ ? std::span<const std::string_view>(kDiagnosticFolders) : platform::diagnosticFolders();
  const auto isDiagnostic = [&](const std::string& candidate) {
    return std::any_of(diagnostics.begin(), diagnostics.end(),
                       [&](std::string_view folder) { return isUnder(candidate, db + "/" + std::string(folder)); });
  };
  for (const auto folder : platform::guardedSystemFolders()) {
    if (isUnder(p, system(folder)) && !isDiagnostic(p)) refuse("受保护路径：%@", path);
  }
  if (const auto users = platform::usersFolder(); !users.empty()) {
    const std::string shared = system(users);
    if (p == shared || (isUnder(p, shared) && !isUnder(p, h))) refuse("受保护路径：%@", path);
  }
  if (p == h) refuse("不能删除家目录根路径");
  if (isUnder(p, h)) {
    for (const auto secret : kSecretFolders) {
      const std::string folder = h + "/" + std::string(secret);
      if (isUnder(p, folder) || isUnder(folder, p)) refuse("受保护路径：%@", path);
    }
    const std::string name = fs::path(p).filename().string();
    if (std::find(kSecretFiles.begin(), kSecretFiles.end(), name) != kSecretFiles.end()) {
      refuse("受保护路径：%@", path);
    }
  }

  switch (scope) {
    case RemovalScope::userData: {
      if (p.starts_with(h + "/")) return;
      std::vector<std::string> allowed;
      // The live system's folders count only outside a fixture; its own stand in for them there.
      if (!fixtureRoot_) {
        for (const auto folder : kDiagnosticFolders) allowed.push_back("/private/var/db/" + std::string(folder));
      }
      for (const auto folder : diagnostics) allowed.push_back(db + "/" + std::string(folder));
      if (!fixtureRoot_) allowed.insert(allowed.end(), {"/Library/Caches", "/Library/Logs"});
      allowed.insert(allowed.end(), {canonicalPath(standardised(roots.darwinUserDirectory).parent_path()),
                                     canonicalPath(standardised(roots.darwinUserCache)),
                                     canonicalPath(standardised(roots.temporary))});
      if (!fixtureRoot_) allowed.emplace_back("/private/var/log");
      allowed.insert(allowed.end(), {canonicalPath(standardised(roots.systemLibraryCaches)),
                                     canonicalPath(standardised(roots.systemLibraryLogs)),
                                     canonicalPath(standardised(roots.privateVarLog))});
      for (const auto& root : allowed) {
        // A root that is itself "/" (an environment gone wrong) allows nothing.
        if (root != "/" && isUnder(p, root)) return;
      }
      refuse("路径超出允许范围：%@", path);
    }
    case RemovalScope::uninstallApp: {
      std::vector<std::string> uninstallRoots;
      for (const auto root : kUninstallRoots) uninstallRoots.push_back(system(root));
      // The application folders themselves are never removable, even where they lie inside home.
      if (std::find(uninstallRoots.begin(), uninstallRoots.end(), p) != uninstallRoots.end()) {
        refuse("卸载路径超出允许范围：%@", path);
      }
      uninstallRoots.insert(uninstallRoots.begin(), h);
      for (const auto& root : uninstallRoots) {
        if (p.starts_with(root + "/")) return;
      }
      refuse("卸载路径超出允许范围：%@", path);
    }
    case RemovalScope::externalVolume:
      if (p.starts_with(system("/System")) || p == "/") refuse("外置卷清理拒绝系统根路径");
      if (onExternalVolume() || p.starts_with(system("/Volumes/"))) return;
      if (p.starts_with(h + "/Volumes/") || p.starts_with(h)) return;
      refuse("外置卷路径无效：%@", path);
    case RemovalScope::userSelected: {
      const fs::path resolvedPath(p);
      const auto components = std::distance(resolvedPath.begin(), resolvedPath.end());
      if (components < 3) refuse("受保护路径：%@", path);
      for (const auto folder : kTopLevelHomeFolders) {
        if (p == h + "/" + std::string(folder)) refuse("受保护路径：%@", path);
      }
      if (platform::isVolumeRoot(p).value_or(false)) refuse("受保护路径：%@", path);
      return;
    }
  }
}

}  // namespace tidyloom
