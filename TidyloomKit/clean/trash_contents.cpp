// Trash rows: what each item was (from its .trashinfo), when it was deleted, and its size.
#include "clean/trash_contents.h"

#include <sys/stat.h>

#include <algorithm>

#include "core/engine_error.h"
#include "l10n/l10n.h"
#include "platform/system_paths.h"
#include "removal/file_measure.h"
#include "removal/protection_layer.h"

namespace tidyloom {
namespace fs = std::filesystem;

TrashContents::TrashContents(std::vector<platform::TrashLocation> trashes) : trashes_(std::move(trashes)) {
  for (auto& trash : trashes_) trash.items = ProtectionLayer::canonicalPath(trash.items);
}

const platform::TrashLocation* TrashContents::trashOf(const std::string& path) const {
  const fs::path parent = fs::path(path).lexically_normal().parent_path();
  for (const auto& trash : trashes_) {
    if (trash.items == parent) return &trash;
  }
  return nullptr;
}

bool TrashContents::manages(const std::string& path) const { return trashOf(path) != nullptr; }

std::vector<ReviewItem> TrashContents::reviewItems(const SourceScanContext& context) const {
  std::vector<ReviewItem> rows;
  for (const auto& trash : trashes_) {
    for (const auto& entry : platform::trashEntries(trash)) {
      if (context.stop.stop_requested()) return rows;
      const std::string path = (trash.items / entry.name).string();
      std::string detail = L10n::translate("清空后永久删除，无法恢复");
      if (entry.deletionDate) {
        // "YYYY-MM-DDThh:mm:ss" shown as "YYYY-MM-DD hh:mm".
        const std::string when = entry.deletionDate->substr(0, 10) + " " + entry.deletionDate->substr(11, 5);
        detail = L10n::translate("删除于 %@；清空后永久删除，无法恢复", {when});
      }
      rows.push_back(ReviewItem{path, entry.originalPath.value_or(entry.name), "trash",
                                FileMeasure::byteSize(path, context.tally), detail, true, false});
    }
  }
  std::stable_sort(rows.begin(), rows.end(), [](const ReviewItem& a, const ReviewItem& b) { return a.path < b.path; });
  return rows;
}

void TrashContents::assertRemovableNow(const std::string& path) const {
  struct stat info {};
  if (!manages(path) || ::lstat(path.c_str(), &info) != 0) {
    throw EngineError::protection(L10n::translate("该项目已不在废纸篓中，请重新扫描"));
  }
}

void TrashContents::forget(const std::string& path) const {
  if (const auto* trash = trashOf(path)) platform::forgetTrashed(*trash, fs::path(path).filename().string());
}

RemovalScope TrashContents::scopeOf(const std::string& path, const fs::path& home) const {
  if (isUnder(path, ProtectionLayer::canonicalPath(home))) return RemovalScope::userData;
  for (const auto& folder : platform::externalVolumeFolders()) {
    if (isUnder(path, folder)) return RemovalScope::externalVolume;
  }
  return RemovalScope::userSelected;
}

}  // namespace tidyloom
