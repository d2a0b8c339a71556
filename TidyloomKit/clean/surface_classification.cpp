// CleanSurface classification of rule ids and paths.
#include "clean/surface_classification.h"

#include <algorithm>

#include "removal/protection_layer.h"

namespace tidyloom {

std::string asciiLowercased(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(),
                 [](unsigned char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c); });
  return out;
}

SurfaceSet surfacesOfRule(std::string_view ruleId) {
  if (ruleId == "devCaches") return {CleanSurface::developer, CleanSurface::dependencies, CleanSurface::simulators};
  if (ruleId == "userLogs" || ruleId == "crashReporter") return {CleanSurface::logs};
  return {CleanSurface::general};
}

CleanSurface surfaceOfRule(std::string_view ruleId, std::string_view path) {
  if (ruleId == "devCaches") return developerSurface(path);
  if (ruleId == "userLogs" || ruleId == "crashReporter") return CleanSurface::logs;
  return CleanSurface::general;
}

CleanSurface developerSurface(std::string_view path) {
  if (isNpmResidual(path)) return CleanSurface::dependencies;
  const std::string lower = asciiLowercased(path) + "/";
  for (const auto marker : kPackageManagerMarkers) {
    if (lower.find(marker) != std::string::npos) return CleanSurface::dependencies;
  }
  if (lower.find("/library/developer/coresimulator/") != std::string::npos ||
      lower.find("/library/developer/xctestdevices") != std::string::npos ||
      lower.find("simruntime") != std::string::npos) {
    return CleanSurface::simulators;
  }
  return CleanSurface::developer;
}

bool isNpmResidual(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  const auto slash = path.rfind('/');
  if (slash == std::string_view::npos || slash == 0) return false;
  const std::string_view name = path.substr(slash + 1);
  if (name != "_cacache" && name != "_npx" && name != "_logs" && name != "_prebuilds") return false;
  const std::string_view parentPath = path.substr(0, slash);
  const std::string_view parent = parentPath.substr(parentPath.rfind('/') + 1);
  return asciiLowercased(parent).find("npm") != std::string::npos;
}

bool mayHoldDependencies(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  const std::string lower = asciiLowercased(path) + "/";
  for (const auto marker : kPackageManagerMarkers) {
    // Every proper prefix of the marker that ends at a "/" after its first component.
    for (size_t end = marker.find('/', 1); end != std::string_view::npos && end + 1 < marker.size();
         end = marker.find('/', end + 1)) {
      if (lower.ends_with(marker.substr(0, end + 1))) return true;
    }
  }
  return false;
}

bool isSystemPath(std::string_view path, const ScanRoots& roots) {
  for (const auto* root :
       {&roots.systemLibraryCaches, &roots.systemLibraryLogs, &roots.privateVarLog, &roots.privateVarDB}) {
    if (!root->empty() && isUnder(path, root->lexically_normal().string())) return true;
  }
  return false;
}

}  // namespace tidyloom
