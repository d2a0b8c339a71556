// npm residual caches: the four npm cache folders directly inside an npm folder of the home.
#include "clean/npm_residual_caches.h"

#include <array>

#include "clean/source_walk.h"
#include "clean/surface_classification.h"
#include "core/engine_error.h"
#include "l10n/l10n.h"

namespace tidyloom {
namespace {

constexpr std::array<std::string_view, 4> kResidualNames{"_cacache", "_npx", "_logs", "_prebuilds"};

}  // namespace

SourceFindings NpmResidualCaches::scan(const SourceScanContext& context) const {
  SourceFindings findings;
  for (const auto& root : childNames(home_)) {
    if (context.stop.stop_requested()) break;
    if (asciiLowercased(root).find("npm") == std::string::npos) continue;
    const auto rootFacts = entryFacts(home_ / root);
    if (!rootFacts || !rootFacts->directory) continue;
    for (const auto name : kResidualNames) {
      const auto path = home_ / root / name;
      const auto facts = entryFacts(path);
      if (facts && facts->directory) findings.paths.push_back(path.string());
    }
  }
  return findings;
}

bool NpmResidualCaches::manages(const std::string& path) const {
  return isNpmResidual(path) && depthBelow(path, home_) == 2;
}

void NpmResidualCaches::assertRemovableNow(const std::string& path) const {
  const auto facts = entryFacts(path);
  if (!manages(path) || !facts || !facts->directory || !noLinkBetween(home_, path)) {
    throw EngineError::protection(L10n::translate("npm 缓存目录已变化，请重新扫描"));
  }
}

}  // namespace tidyloom
