// Leftover npm cache folders ("_cacache", "_npx", "_logs", "_prebuilds") under npm-like home folders
// (.npm, .tnpm, .cnpm ...), offered as bare paths.
#pragma once

#include <filesystem>

#include "clean/clean_source.h"

namespace tidyloom {

class NpmResidualCaches : public CleanSource {
 public:
  explicit NpmResidualCaches(std::filesystem::path home) : home_(std::move(home)) {}

  std::string_view phaseLabel() const override { return ".npm"; }
  SourceFindings scan(const SourceScanContext& context) const override;
  bool manages(const std::string& path) const override;
  void assertRemovableNow(const std::string& path) const override;

 private:
  std::filesystem::path home_;
};

}  // namespace tidyloom
