// Device firmware: ".ipsw" files in the firmware download folders (and one level below).
#include "clean/device_firmware_scanner.h"

#include "clean/source_walk.h"
#include "clean/surface_classification.h"
#include "core/engine_error.h"
#include "l10n/l10n.h"
#include "removal/file_measure.h"

namespace tidyloom {
namespace {

constexpr int kFirmwareDepth = 2;

bool isFirmwareName(const std::filesystem::path& path) {
  return asciiLowercased(path.filename().string()).ends_with(".ipsw");
}

}  // namespace

SourceFindings DeviceFirmwareScanner::scan(const SourceScanContext& context) const {
  SourceFindings findings;
  for (const auto& root : roots_) {
    walkFiles(home_ / root, kFirmwareDepth, context.stop, context.tally,
              [&](const std::filesystem::path& path, const EntryFacts&, int) {
                if (!isFirmwareName(path)) return;
                const auto size = FileMeasure::byteSize(path, context.tally);
                if (size > 0) findings.candidates.push_back({path.string(), "deviceFirmware", size, true});
              });
  }
  return findings;
}

const std::string* DeviceFirmwareScanner::rootOf(const std::filesystem::path& path) const {
  for (const auto& root : roots_) {
    const auto depth = depthBelow(path, home_ / root);
    if (depth && *depth <= kFirmwareDepth) return &root;
  }
  return nullptr;
}

bool DeviceFirmwareScanner::manages(const std::string& path) const { return rootOf(path) != nullptr; }

void DeviceFirmwareScanner::assertRemovableNow(const std::string& path) const {
  const std::string* root = rootOf(path);
  const auto facts = entryFacts(path);
  if (root == nullptr || !facts || !facts->regular || !isFirmwareName(path) || !noLinkBetween(home_ / *root, path)) {
    throw EngineError::protection(L10n::translate("固件文件已变化，请重新扫描"));
  }
}

}  // namespace tidyloom
