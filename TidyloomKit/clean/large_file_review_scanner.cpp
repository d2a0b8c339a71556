// Large backups and developer data for review: device backups, build archives, virtual devices,
// and disk images or archives left in Downloads.
#include "clean/large_file_review_scanner.h"

#include <array>

#include "clean/source_walk.h"
#include "clean/surface_classification.h"
#include "core/engine_error.h"
#include "l10n/l10n.h"
#include "removal/file_measure.h"

namespace tidyloom {
namespace {

// Folders whose every entry is one backup or archive (relative to the home).
constexpr std::array<std::string_view, 2> kBackupFolders{"Library/Application Support/MobileSync/Backup",
                                                         "Library/Developer/Xcode/Archives"};
constexpr std::string_view kVirtualDevices = ".android/avd";
constexpr std::string_view kDownloads = "Downloads";
constexpr int kDownloadDepth = 2;
constexpr std::array<std::string_view, 16> kImageExtensions{".dmg",  ".iso",   ".img", ".pkg", ".zip", ".xip",
                                                            ".ipsw", ".tar",   ".tgz", ".gz",  ".7z",  ".rar",
                                                            ".vmdk", ".qcow2", ".vdi", ".xz"};

bool isImageName(const std::string& name) {
  const std::string lower = asciiLowercased(name);
  for (const auto extension : kImageExtensions) {
    if (lower.ends_with(extension)) return true;
  }
  return false;
}

}  // namespace

LargeFileReviewScanner::Kind LargeFileReviewScanner::kindOf(const std::filesystem::path& path) const {
  const std::string name = path.filename().string();
  if (name.empty() || name.starts_with('.')) return Kind::none;
  if (depthBelow(path, home_ / std::string(kBackupFolders[0])) == 1) return Kind::deviceBackup;
  if (const auto depth = depthBelow(path, home_ / std::string(kBackupFolders[1])); depth && *depth <= 2) {
    return name.ends_with(".xcarchive") ? Kind::archive : Kind::none;
  }
  if (depthBelow(path, home_ / std::string(kVirtualDevices)) == 1 && name.ends_with(".avd")) return Kind::virtualDevice;
  if (const auto depth = depthBelow(path, home_ / std::string(kDownloads)); depth && *depth <= kDownloadDepth) {
    return isImageName(name) ? Kind::download : Kind::none;
  }
  return Kind::none;
}

std::vector<ReviewItem> LargeFileReviewScanner::reviewItems(const SourceScanContext& context) const {
  std::vector<std::filesystem::path> found;
  for (const auto folder : kBackupFolders) {
    for (const auto& name : childNames(home_ / std::string(folder))) {
      const auto path = home_ / std::string(folder) / name;
      if (kindOf(path) != Kind::none) found.push_back(path);
      // Build archives sit in one folder per day.
      if (folder == kBackupFolders[1]) {
        for (const auto& inner : childNames(path)) {
          if (kindOf(path / inner) == Kind::archive) found.push_back(path / inner);
        }
      }
    }
  }
  for (const auto& name : childNames(home_ / std::string(kVirtualDevices))) {
    if (kindOf(home_ / std::string(kVirtualDevices) / name) != Kind::none) {
      found.push_back(home_ / std::string(kVirtualDevices) / name);
    }
  }
  walkFiles(home_ / std::string(kDownloads), kDownloadDepth, context.stop, context.tally,
            [&](const std::filesystem::path& path, const EntryFacts&, int) {
              if (kindOf(path) == Kind::download) found.push_back(path);
            });

  std::vector<ReviewItem> items;
  for (const auto& path : found) {
    if (context.stop.stop_requested()) break;
    const auto facts = entryFacts(path);
    if (!facts || facts->link) continue;
    const auto size = FileMeasure::byteSize(path, context.tally);
    if (size < minimumBytes_) continue;
    const Kind kind = kindOf(path);
    std::string detail;
    switch (kind) {
      case Kind::deviceBackup:
        detail = L10n::translate("设备备份：删除后无法恢复，请确认已有其他备份");
        break;
      case Kind::archive:
        detail = L10n::translate("构建归档：删除后无法再用它重新提交或符号化崩溃报告");
        break;
      case Kind::virtualDevice:
        detail = L10n::translate("虚拟设备：删除后其中的数据和设置会丢失");
        break;
      default:
        detail = L10n::translate("下载的安装镜像或压缩包：需要时可重新下载");
        break;
    }
    items.push_back(ReviewItem{path.string(), path.filename().string(), "largeFiles", size, detail, true, false});
  }
  return items;
}

bool LargeFileReviewScanner::manages(const std::string& path) const { return kindOf(path) != Kind::none; }

void LargeFileReviewScanner::assertRemovableNow(const std::string& path) const {
  const auto facts = entryFacts(path);
  if (kindOf(path) == Kind::none || !facts || facts->link || !noLinkBetween(home_, path) ||
      FileMeasure::byteSize(path) < minimumBytes_) {
    throw EngineError::protection(L10n::translate("文件已变化，请重新扫描"));
  }
}

}  // namespace tidyloom
