// StatusEngine: gathers the figures, rates them, encodes and repeats them.
#include "status/status_engine.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <limits>
#include <mutex>

#include <nlohmann/json.hpp>

#include "core/engine_error.h"
#include "core/locations.h"
#include "l10n/l10n.h"
#include "removal/file_measure.h"

namespace tidyloom {
namespace {

class LiveSources final : public StatusSources {
 public:
  explicit LiveSources(std::filesystem::path trash) : trash_(std::move(trash)) {}
  std::string hostName() const override { return platform::hostName(); }
  std::uint64_t physicalMemoryBytes() const override { return platform::physicalMemoryBytes(); }
  double uptimeSeconds() const override { return platform::uptimeSeconds(); }
  platform::VolumeCapacity startupVolume() const override { return platform::volumeCapacity("/"); }
  platform::ProcessList processes(std::size_t limit) const override { return platform::processList(limit); }
  std::uint64_t trashSize() const override { return FileMeasure::byteSize(trash_); }
  SystemTime now() const override { return nowSeconds(); }

 private:
  std::filesystem::path trash_;
};

}  // namespace

std::shared_ptr<const StatusSources> liveStatusSources(std::filesystem::path trashFolder) {
  return std::make_shared<LiveSources>(std::move(trashFolder));
}

std::filesystem::path statusTrashFolder(const Locations& locations) {
  if (locations.fixtureTrash) return *locations.fixtureTrash;
  return platform::homeTrashDirectory(locations.roots.home);
}

StatusEngine::StatusEngine(const Locations& locations) : sources_(liveStatusSources(statusTrashFolder(locations))) {}

StatusSnapshot StatusEngine::snapshot() const {
  StatusSnapshot out;
  out.capturedAt = sources_->now();
  out.hostName = sources_->hostName();
  out.physicalMemoryBytes = sources_->physicalMemoryBytes();
  const double uptime = sources_->uptimeSeconds();
  out.uptimeSeconds = uptime > 0 ? uptime : 0;

  const auto volume = sources_->startupVolume();
  const auto disk = diskFigures(volume.total, volume.available, volume.availableForImportantUsage);
  out.diskTotalBytes = disk.totalBytes;
  out.diskFreeBytes = disk.freeBytes;
  out.diskPurgeableBytes = disk.purgeableBytes;
  out.trashSize = sources_->trashSize();

  auto processes = sources_->processes(kTopProcessCount);
  out.processCount = static_cast<int>(std::min<std::size_t>(processes.count, std::numeric_limits<int>::max()));
  if (processes.busiest.size() > kTopProcessCount) processes.busiest.resize(kTopProcessCount);
  for (auto& sample : processes.busiest) out.topProcesses.push_back({sample.pid, std::move(sample.name), sample.cpu});

  const double topCpu = out.topProcesses.empty() ? 0 : out.topProcesses.front().cpu;
  const auto rating = rateHealth(diskUsedRatio(out.diskTotalBytes, out.diskFreeBytes), out.processCount, topCpu);
  out.healthScore = rating.score;
  out.healthScoreMsg = rating.label;
  out.memoryPressure = rating.memoryPressure;
  return out;
}

std::string StatusEngine::encode(const StatusSnapshot& snapshot) {
  try {
    // nlohmann's objects keep their keys sorted, which is the order the document promises.
    return nlohmann::json(snapshot).dump(2);
  } catch (const nlohmann::json::exception& e) {
    throw EngineError::io(L10n::translate("无法编码状态快照：%@", {e.what()}));
  }
}

std::string StatusEngine::jsonSnapshot() const { return encode(snapshot()); }

void StatusEngine::watchSnapshots(double intervalSeconds, int count, const EmitSnapshot& emit,
                                  std::stop_token stop) const {
  std::mutex mutex;
  std::condition_variable_any wake;
  for (int i = 0; i < count; ++i) {
    if (stop.stop_requested()) throw EngineError::cancelled();
    emit(snapshot());
    if (i + 1 == count || !(intervalSeconds > 0)) continue;
    std::unique_lock lock(mutex);
    // A year is as long as a wait can usefully be, and keeps the conversion in range.
    const auto interval = std::chrono::duration<double>(std::min(intervalSeconds, 365.0 * 86400));
    wake.wait_for(lock, stop, std::chrono::duration_cast<std::chrono::steady_clock::duration>(interval),
                  [] { return false; });
  }
}

void StatusEngine::watch(double intervalSeconds, int count, const Emit& emit, std::stop_token stop) const {
  watchSnapshots(
      intervalSeconds, count, [&](const StatusSnapshot& snapshot) { emit(encode(snapshot)); }, stop);
}

}  // namespace tidyloom
