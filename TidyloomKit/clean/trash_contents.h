// The user's Trashes as a clean source: one review row per trashed item (the item and its record
// together), never ticked for the user, and always deleted for good: an item is never moved into
// a Trash a second time. Every Trash of the user counts, the home one and those on other volumes.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "clean/clean_source.h"
#include "platform/trash.h"

namespace tidyloom {

class TrashContents : public CleanSource {
 public:
  // `trashes`: the Trashes looked at, items folders made canonical here.
  explicit TrashContents(std::vector<platform::TrashLocation> trashes);

  std::string_view phaseLabel() const override { return "废纸篓"; }
  SourceFindings scan(const SourceScanContext&) const override { return {}; }
  std::vector<ReviewItem> reviewItems(const SourceScanContext& context) const override;
  // A path directly inside the items folder of one of the Trashes.
  bool manages(const std::string& path) const override;
  void assertRemovableNow(const std::string& path) const override;

  // After `path` was deleted: its .trashinfo and folder-size line go too.
  void forget(const std::string& path) const;
  // The removal scope that fits the Trash holding `path`: the home's own data, another volume.
  RemovalScope scopeOf(const std::string& path, const std::filesystem::path& home) const;

 private:
  const platform::TrashLocation* trashOf(const std::string& path) const;
  std::vector<platform::TrashLocation> trashes_;
};

}  // namespace tidyloom
