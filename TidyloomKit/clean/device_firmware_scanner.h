// Device firmware images (".ipsw") downloaded for restoring or updating phones and tablets; the
// device tool downloads them again when it needs one.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "clean/clean_source.h"

namespace tidyloom {

class DeviceFirmwareScanner : public CleanSource {
 public:
  DeviceFirmwareScanner(std::filesystem::path home, std::vector<std::string> relativeRoots)
      : home_(std::move(home)), roots_(std::move(relativeRoots)) {}

  std::string_view phaseLabel() const override { return "Library/iTunes"; }
  SourceFindings scan(const SourceScanContext& context) const override;
  bool manages(const std::string& path) const override;
  void assertRemovableNow(const std::string& path) const override;

 private:
  const std::string* rootOf(const std::filesystem::path& path) const;

  std::filesystem::path home_;
  std::vector<std::string> roots_;
};

}  // namespace tidyloom
