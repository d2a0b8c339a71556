// ProgressLine: one self-overwriting line on standard error, redrawn at most every 80 ms.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

namespace tidyloom::cli {

class ProgressLine {
 public:
  explicit ProgressLine(bool enabled) : enabled_(enabled) {}
  ~ProgressLine() { clear(); }

  bool enabled() const { return enabled_; }
  // Safe from any thread. `fraction` draws a bar; otherwise a spinner with the count.
  void update(const std::string& label, std::optional<std::uint64_t> count = std::nullopt,
              std::optional<double> fraction = std::nullopt, const std::string& path = {});
  // Erases the line (before normal output is printed).
  void clear();

 private:
  bool enabled_;
  std::mutex mutex_;
  std::chrono::steady_clock::time_point last_{};
  unsigned spin_ = 0;
  bool drawn_ = false;
};

}  // namespace tidyloom::cli
