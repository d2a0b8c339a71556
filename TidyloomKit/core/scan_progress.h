// Progress record of any scan, the shared visited-entry counter, and the cancellation token.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>

namespace tidyloom {

struct ScanProgress {
  std::string path;  // what is being scanned; for a phase, its label
  std::optional<double> fraction;
  std::optional<std::int64_t> found;
};
using ScanProgressCallback = std::function<void(const ScanProgress&)>;

// Counter of file-system entries an operation visited. One per operation, shared by its workers,
// handed to them explicitly (never a global).
class ScanTally {
 public:
  void add(std::uint64_t count = 1) {
    std::lock_guard lock(mutex_);
    files_ += count;
  }
  std::uint64_t files() const {
    std::lock_guard lock(mutex_);
    return files_;
  }

 private:
  mutable std::mutex mutex_;
  std::uint64_t files_ = 0;
};
using ScanTallyRef = std::shared_ptr<ScanTally>;

// One cancellation token per operation; engines check it where they look at their task's flag.
using CancellationToken = std::stop_token;

// Throws EngineError::cancelled when the token has been triggered.
void throwIfCancelled(const CancellationToken& token);

}  // namespace tidyloom
