// Surfaces of rules and paths, npm residuals and folders that may hold package caches.
#include <gtest/gtest.h>

#include "clean/surface_classification.h"

namespace tidyloom {
namespace {

TEST(SurfaceClassificationTest, RulesTakePartInTheirSurfacesOnly) {
  EXPECT_EQ(surfacesOfRule("devCaches"),
            (SurfaceSet{CleanSurface::developer, CleanSurface::dependencies, CleanSurface::simulators}));
  EXPECT_EQ(surfacesOfRule("userLogs"), SurfaceSet{CleanSurface::logs});
  EXPECT_EQ(surfacesOfRule("crashReporter"), SurfaceSet{CleanSurface::logs});
  EXPECT_EQ(surfacesOfRule("userCaches"), SurfaceSet{CleanSurface::general});
  EXPECT_EQ(surfaceOfRule("userLogs", "/h/Library/Logs/x"), CleanSurface::logs);
  EXPECT_EQ(surfaceOfRule("trash", "/h/.npm/_cacache"), CleanSurface::general);
  EXPECT_EQ(surfaceOfRule("devCaches", "/h/.npm/_cacache"), CleanSurface::dependencies);
}

struct SurfaceCase {
  const char* path;
  CleanSurface surface;
};

class DeveloperSurfaceTest : public ::testing::TestWithParam<SurfaceCase> {};

TEST_P(DeveloperSurfaceTest, PathIsFiledUnderItsSurface) {
  EXPECT_EQ(developerSurface(GetParam().path), GetParam().surface) << GetParam().path;
}

INSTANTIATE_TEST_SUITE_P(
    Paths, DeveloperSurfaceTest,
    ::testing::Values(SurfaceCase{"/Users/u/.npm/_cacache", CleanSurface::dependencies},
                      SurfaceCase{"/Users/u/.npm", CleanSurface::dependencies},  // "/" is appended first
                      SurfaceCase{"/Users/u/Library/Caches/Yarn/v6", CleanSurface::dependencies},
                      SurfaceCase{"/Users/u/go/pkg/mod/cache", CleanSurface::dependencies},
                      SurfaceCase{"/Users/u/.cache/swift-package-manager", CleanSurface::dependencies},
                      SurfaceCase{"/Users/u/.tnpmcache/_npx", CleanSurface::dependencies},  // npm residual
                      SurfaceCase{"/Users/u/Library/Developer/CoreSimulator/Caches", CleanSurface::simulators},
                      SurfaceCase{"/Library/Developer/CoreSimulator/Volumes/iOS.simruntime", CleanSurface::simulators},
                      SurfaceCase{"/Users/u/Library/Developer/Xcode/DerivedData", CleanSurface::developer},
                      SurfaceCase{"/Users/u/.npmrc-backup", CleanSurface::developer}));

TEST(SurfaceClassificationTest, NpmResidualNeedsItsNameAndAnNpmParent) {
  EXPECT_TRUE(isNpmResidual("/h/.npm/_cacache"));
  EXPECT_TRUE(isNpmResidual("/h/.cnpm/_prebuilds/"));
  EXPECT_TRUE(isNpmResidual("/h/Library/Caches/NPM-cache/_logs"));
  EXPECT_FALSE(isNpmResidual("/h/.yarn/_cacache"));
  EXPECT_FALSE(isNpmResidual("/h/.npm/cacache"));
  EXPECT_FALSE(isNpmResidual("/_npx"));
}

TEST(SurfaceClassificationTest, ProperAncestorsOfPackageCachesMayHoldDependencies) {
  EXPECT_TRUE(mayHoldDependencies("/Users/u/Library/Caches"));  // of /library/caches/uv/
  EXPECT_TRUE(mayHoldDependencies("/Users/u/Library"));
  EXPECT_TRUE(mayHoldDependencies("/home/u/.cache"));
  EXPECT_TRUE(mayHoldDependencies("/home/u/go/pkg/"));
  EXPECT_FALSE(mayHoldDependencies("/home/u/.npm"));  // one-component marker: no proper ancestor
  EXPECT_FALSE(mayHoldDependencies("/home/u/Library/Caches/uv"));
  EXPECT_FALSE(mayHoldDependencies("/home/u/Developer"));
}

TEST(SurfaceClassificationTest, SystemPathsAreThoseOfTheSystemRootsOnly) {
  const auto roots = ScanRoots::fixture("/fx");
  EXPECT_TRUE(isSystemPath("/fx/SystemLibrary/Caches/a.cache", roots));
  EXPECT_TRUE(isSystemPath("/fx/private/var/log/system.log", roots));
  EXPECT_TRUE(isSystemPath("/fx/private/var/db/diagnostics/x", roots));
  EXPECT_FALSE(isSystemPath("/fx/SystemLibrary/CachesX", roots));
  EXPECT_FALSE(isSystemPath("/fx/Library/Caches/x", roots));
  EXPECT_FALSE(isSystemPath("/fx/private/var/folders/zz/C/com.apple.metal", roots));
}

}  // namespace
}  // namespace tidyloom
