// StatusEngine: a quick snapshot of the machine's state, rated with a health score. Stateless; every
// source that fails reads as 0 (or no processes), so a snapshot is always produced.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>

#include "platform/system_info.h"
#include "status/status_snapshot.h"

namespace tidyloom {

struct Locations;

// Where the engine's figures come from; the live one reads the machine, tests give their own.
class StatusSources {
 public:
  virtual ~StatusSources() = default;
  virtual std::string hostName() const = 0;
  virtual std::uint64_t physicalMemoryBytes() const = 0;
  virtual double uptimeSeconds() const = 0;
  virtual platform::VolumeCapacity startupVolume() const = 0;
  virtual platform::ProcessList processes(std::size_t limit) const = 0;
  virtual std::uint64_t trashSize() const = 0;
  virtual SystemTime now() const = 0;
};

// The live machine, with the Trash measured at `trashFolder`.
std::shared_ptr<const StatusSources> liveStatusSources(std::filesystem::path trashFolder);
// The Trash the snapshot measures: DIR/.Trash in fixture mode, the user's home Trash otherwise.
std::filesystem::path statusTrashFolder(const Locations& locations);

class StatusEngine {
 public:
  static constexpr std::size_t kTopProcessCount = 5;

  explicit StatusEngine(std::shared_ptr<const StatusSources> sources) : sources_(std::move(sources)) {}
  // The live machine; only the Trash follows `locations` (the fixture's Trash in fixture mode).
  explicit StatusEngine(const Locations& locations);

  StatusSnapshot snapshot() const;
  // The snapshot as pretty-printed JSON with sorted keys; throws EngineError::io when it cannot be
  // encoded (a host name that is not UTF-8, for one).
  std::string jsonSnapshot() const;
  static std::string encode(const StatusSnapshot& snapshot);

  using Emit = std::function<void(const std::string& bytes)>;
  using EmitSnapshot = std::function<void(const StatusSnapshot& snapshot)>;
  // Emits `count` snapshots, `intervalSeconds` apart (no sleep after the last one). A count below 1
  // emits nothing; an interval of 0 or less does not sleep. A stop request ends the wait early and
  // throws EngineError::cancelled.
  void watch(double intervalSeconds, int count, const Emit& emit, std::stop_token stop = {}) const;
  void watchSnapshots(double intervalSeconds, int count, const EmitSnapshot& emit, std::stop_token stop = {}) const;

 private:
  std::shared_ptr<const StatusSources> sources_;
};

}  // namespace tidyloom
