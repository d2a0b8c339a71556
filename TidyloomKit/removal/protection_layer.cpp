// The protection layer's tables and rules, applied in a fixed order; the first rule that fires refuses.
#include "removal/protection_layer.h"

#include <algorithm>
#include <array>
#include <cctype>
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
  const std::string p = canonicalPath(path);
  const std::string h = canonicalPath(standardised(roots.home));

  if (isEndpointSecurityCachePath(p)) refuse("端点安全组件缓存受保护：%@", path);
  for (const auto prefix : kSystemPrefixes) {
    if (isUnder(p, prefix)) refuse("受保护路径：%@", path);
  }
  for (const auto prefix : platform::extraSystemPrefixes()) {
    if (isUnder(p, prefix)) refuse("受保护路径：%@", path);
  }
  if (p == h || p == "/") refuse("不能删除家目录根路径");

  switch (scope) {
    case RemovalScope::userData: {
      if (p.starts_with(h + "/")) return;
      std::vector<std::string> allowed;
      for (const auto folder : kDiagnosticFolders) allowed.push_back("/private/var/db/" + std::string(folder));
      const std::string db = canonicalPath(standardised(roots.privateVarDB));
      for (const auto folder : kDiagnosticFolders) allowed.push_back(db + "/" + std::string(folder));
      allowed.insert(
          allowed.end(),
          {"/Library/Caches", "/Library/Logs", canonicalPath(standardised(roots.darwinUserDirectory).parent_path()),
           canonicalPath(standardised(roots.darwinUserCache)), canonicalPath(standardised(roots.temporary)),
           "/private/var/log", canonicalPath(standardised(roots.systemLibraryCaches)),
           canonicalPath(standardised(roots.systemLibraryLogs)), canonicalPath(standardised(roots.privateVarLog))});
      for (const auto& root : allowed) {
        if (isUnder(p, root)) return;
      }
      refuse("路径超出允许范围：%@", path);
    }
    case RemovalScope::uninstallApp: {
      std::vector<std::string> uninstallRoots;
      for (const auto root : kUninstallRoots) {
        uninstallRoots.push_back(fixtureRoot_ ? fixtureRoot_->string() + std::string(root) : std::string(root));
      }
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
      if (p.starts_with("/System") || p == "/") refuse("外置卷清理拒绝系统根路径");
      if (p.starts_with("/Volumes/") || p.starts_with(h + "/Volumes/") || p.starts_with(h)) return;
      refuse("外置卷路径无效：%@", path);
    case RemovalScope::userSelected: {
      const fs::path resolved(p);
      const auto components = std::distance(resolved.begin(), resolved.end());
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
