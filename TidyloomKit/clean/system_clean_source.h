// The system locations phase: old system caches and logs (through the root daemon when there is
// one, else as far as this process can read) and the user-domain GPU caches and Time Machine data.
#pragma once

#include <memory>

#include "clean/clean_source.h"
#include "helper/system_clean_scanner.h"

namespace tidyloom {

class SystemCleanHelping;

class SystemCleanSource : public CleanSource {
 public:
  SystemCleanSource(SystemCleanScanner scanner, std::shared_ptr<SystemCleanHelping> helper,
                    bool includesRebuildableCaches, bool runsAsRoot)
      : scanner_(std::move(scanner)),
        helper_(std::move(helper)),
        includesRebuildableCaches_(includesRebuildableCaches),
        runsAsRoot_(runsAsRoot) {}

  std::string_view phaseLabel() const override { return "系统缓存与日志"; }
  SourceFindings scan(const SourceScanContext& context) const override;
  bool manages(const std::string& path) const override;
  void assertRemovableNow(const std::string& path) const override { scanner_.assertRemovableNow(path); }

 private:
  SystemCleanScanner scanner_;
  std::shared_ptr<SystemCleanHelping> helper_;
  bool includesRebuildableCaches_;
  bool runsAsRoot_;
};

}  // namespace tidyloom
