// Caches and logs whose files are removed once they reach an age (crash reports, tool logs).
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "clean/clean_source.h"
#include "clean/source_walk.h"

namespace tidyloom {

class AgeGatedCaches : public CleanSource {
 public:
  // Files under `relativeRoot` (down to `maxDepth` levels, 1 being the root's own entries) older
  // than `ageDays` belong to `section`.
  struct Rule {
    std::string relativeRoot;
    std::optional<std::string> fileSuffix;
    std::int64_t ageDays = 0;
    std::int64_t maxDepth = 0;
    std::string section;
    bool operator==(const Rule&) const = default;
  };

  AgeGatedCaches(std::filesystem::path home, std::vector<Rule> rules)
      : home_(std::move(home)), rules_(std::move(rules)) {}

  std::string_view phaseLabel() const override { return "Library/Application Support/CrashReporter"; }
  CleanSurface surfaceGate() const override { return CleanSurface::logs; }
  SourceFindings scan(const SourceScanContext& context) const override;
  bool manages(const std::string& path) const override;
  void assertRemovableNow(const std::string& path) const override;

 private:
  const Rule* ruleFor(const std::filesystem::path& path) const;
  bool qualifies(const Rule& rule, const std::filesystem::path& path, std::int64_t modified) const;

  std::filesystem::path home_;
  std::vector<Rule> rules_;
};

}  // namespace tidyloom
