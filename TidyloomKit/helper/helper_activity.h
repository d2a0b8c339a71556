// PrivilegedHelperActivity: the daemon's count of running requests, and the idle watch that ends it.
#pragma once

#include <functional>
#include <memory>
#include <mutex>

namespace tidyloom {

// Wall-clock seconds (with fraction); injected so the idle logic can be tested without waiting.
using HelperClock = std::function<double()>;
HelperClock systemHelperClock();

class PrivilegedHelperActivity {
 public:
  explicit PrivilegedHelperActivity(HelperClock clock = systemHelperClock());

  // Called first and last by every request; an overflow or underflow of the count is fatal.
  void begin();
  void end();
  // True when nothing runs and the last request finished at least `threshold` seconds ago.
  bool isIdle(double threshold) const;
  long active() const;
  double lastFinished() const;

 private:
  HelperClock clock_;
  mutable std::mutex lock_;
  long active_ = 0;
  double lastFinished_;
};
using PrivilegedHelperActivityRef = std::shared_ptr<PrivilegedHelperActivity>;

// Counts one request for its whole scope; tolerates a missing activity (requests not counted).
class ActivityScope {
 public:
  explicit ActivityScope(PrivilegedHelperActivity* activity) : activity_(activity) {
    if (activity_) activity_->begin();
  }
  ~ActivityScope() {
    if (activity_) activity_->end();
  }
  ActivityScope(const ActivityScope&) = delete;
  ActivityScope& operator=(const ActivityScope&) = delete;

 private:
  PrivilegedHelperActivity* activity_;
};

// The idle exit: the first check 60 s after start, then every 30 s; exit once idle for 120 s.
struct IdleWatch {
  static constexpr double kFirstCheck = 60;
  static constexpr double kInterval = 30;
  static constexpr double kThreshold = 120;

  PrivilegedHelperActivityRef activity;
  HelperClock clock;
  // Blocks until the given clock time (a real sleep in the daemon, a clock jump in tests).
  std::function<void(double)> sleepUntil;

  // Runs the checks until the activity is idle, then returns the time of the check that said so.
  // The daemon exits the process with status 0 right after.
  double run() const;
};

}  // namespace tidyloom
