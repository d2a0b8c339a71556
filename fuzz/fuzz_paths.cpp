// Fuzz target: the path canonicaliser, the protection layer's judgement and whitelist matching.
// Paths are judged, never acted on.
#include <cstddef>
#include <cstdint>
#include <string>

#include "core/engine_error.h"
#include "removal/protection_layer.h"
#include "removal/whitelist_policy.h"

using namespace tidyloom;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 4096) return 0;
  const std::string path(reinterpret_cast<const char*>(data), size);
  if (path.find('\0') != std::string::npos) return 0;
  (void)ProtectionLayer::canonicalPath(path);
  (void)ProtectionLayer::isEndpointSecurityCachePath(path);
  static const auto roots = ScanRoots::fixture("/nonexistent/fuzz-home");
  static const auto fixture = ProtectionLayer::forFixture("/nonexistent/fuzz-home");
  for (const auto scope :
       {RemovalScope::userData, RemovalScope::uninstallApp, RemovalScope::externalVolume, RemovalScope::userSelected}) {
    for (const ProtectionLayer* layer : {&fixture}) {
      try {
        layer->assertRemovable(path, roots, scope);
        // Anything a fixture run may remove lies inside the fixture.
        if (!isUnder(ProtectionLayer::canonicalPath(path), "/nonexistent/fuzz-home")) __builtin_trap();
      } catch (const EngineError&) {
      }
    }
  }
  const auto patterns = WhitelistPolicy::expand({path}, "/nonexistent/fuzz-home");
  (void)WhitelistPolicy::protects("/nonexistent/fuzz-home/Library/Caches/a/b", patterns, true);
  return 0;
}
