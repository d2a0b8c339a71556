// Review rows for large backups, archives and disk images: often worth deleting, but only the user
// can tell, so they are shown apart and never ticked for them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "clean/clean_source.h"

namespace tidyloom {

class LargeFileReviewScanner : public CleanSource {
 public:
  static constexpr std::uint64_t kDefaultMinimumBytes = 500ull * 1000 * 1000;

  explicit LargeFileReviewScanner(std::filesystem::path home, std::uint64_t minimumBytes = kDefaultMinimumBytes)
      : home_(std::move(home)), minimumBytes_(minimumBytes) {}

  std::string_view phaseLabel() const override { return "大型备份与开发数据复核"; }
  SourceFindings scan(const SourceScanContext&) const override { return {}; }
  std::vector<ReviewItem> reviewItems(const SourceScanContext& context) const override;
  bool manages(const std::string& path) const override;
  void assertRemovableNow(const std::string& path) const override;

 private:
  // What kind of review row a path would be, or nothing.
  enum class Kind { none, deviceBackup, archive, virtualDevice, download };
  Kind kindOf(const std::filesystem::path& path) const;

  std::filesystem::path home_;
  std::uint64_t minimumBytes_;
};

}  // namespace tidyloom
