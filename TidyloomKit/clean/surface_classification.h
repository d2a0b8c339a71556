// Pure classifications of rule ids and paths into scan surfaces (no file-system access).
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "clean/clean_records.h"
#include "core/scan_roots.h"

namespace tidyloom {

// Path fragments (lower case, "/" on both ends) that mark a package manager's cache.
inline constexpr std::array<std::string_view, 31> kPackageManagerMarkers{
    "/.npm/",
    "/.tnpm/",
    "/.yarn/",
    "/.bun/",
    "/.cache/uv/",
    "/.cache/node/corepack/",
    "/.cache/opencode/npm/",
    "/library/caches/uv/",
    "/library/pnpm/",
    "/.local/share/pnpm/",
    "/.cache/pip/",
    "/library/caches/pip/",
    "/library/caches/yarn/",
    "/.gem/",
    "/.cargo/",
    "/go/pkg/mod/",
    "/library/caches/go-build/",
    "/.cache/poetry/",
    "/library/caches/pypoetry/",
    "/.pyenv/cache/",
    "/.rbenv/cache/",
    "/.bundle/cache/",
    "/.cpan/build/",
    "/.composer/cache/",
    "/.rustup/downloads/",
    "/library/caches/cocoapods/",
    "/library/caches/org.carthage.carthagekit/",
    "/library/caches/mise/",
    "/.hex/cache/",
    "/.opam/download-cache/",
    "/.cache/swift-package-manager/",
};

// Surfaces a rule of the rule file takes part in.
SurfaceSet surfacesOfRule(std::string_view ruleId);
// The surface one path found by a rule belongs to.
CleanSurface surfaceOfRule(std::string_view ruleId, std::string_view path);
// developer, dependencies or simulators, from the path's text.
CleanSurface developerSurface(std::string_view path);
// "_cacache", "_npx", "_logs" or "_prebuilds" directly inside a folder whose name mentions npm.
bool isNpmResidual(std::string_view path);
// True for a folder that is a proper ancestor of a package manager's cache (e.g. ~/Library/Caches):
// offering it whole would sweep package caches into the developer surface.
bool mayHoldDependencies(std::string_view path);
// A path in the system-wide locations that only root may change.
bool isSystemPath(std::string_view path, const ScanRoots& roots);

// ASCII lower-casing: the markers and names compared here are ASCII.
std::string asciiLowercased(std::string_view text);

}  // namespace tidyloom
