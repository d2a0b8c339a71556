// ProtectionLayer: the last gate every deletion passes; refuses system, home-root and out-of-scope paths.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "core/records.h"
#include "core/scan_roots.h"

namespace tidyloom {

class ProtectionLayer {
 public:
  ProtectionLayer() = default;
  // In fixture mode the system's folders live under `fixtureRoot` (DIR/Applications, DIR/System...)
  // and nothing outside it is removable, whatever the scope.
  static ProtectionLayer forFixture(const std::filesystem::path& fixtureRoot);

  // Returns when `path` may be removed in `scope`; otherwise throws EngineError::protection with
  // the localised reason. Symbolic links in `path` are resolved before it is judged.
  void assertRemovable(const std::string& path, const ScanRoots& roots, RemovalScope scope) const;
  // The same judgement of `resolved` (the path a held descriptor names), with `shown` (the path as
  // the user gave it) in the messages.
  void assertRemovable(const std::string& resolved, const std::string& shown, const ScanRoots& roots,
                       RemovalScope scope) const;

  // The path with symbolic links resolved (as far as it exists), with the platform's "/private"
  // alias for "/var", "/tmp" and "/etc".
  static std::string canonicalPath(const std::filesystem::path& url);

  // Caches of endpoint-security agents under the per-user temporary folders.
  static bool isEndpointSecurityCachePath(const std::string& path);

 private:
  std::optional<std::filesystem::path> fixtureRoot_;
};

// True when `path` equals `root` or lies below it ("/a/b" is under "/a", "/ab" is not).
bool isUnder(std::string_view path, std::string_view root);

}  // namespace tidyloom
