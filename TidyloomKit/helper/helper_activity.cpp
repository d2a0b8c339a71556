// The activity counter and the idle-exit schedule of the root daemon.
#include "helper/helper_activity.h"

#include <chrono>
#include <climits>
#include <cstdlib>

namespace tidyloom {

HelperClock systemHelperClock() {
  return [] {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count();
  };
}

PrivilegedHelperActivity::PrivilegedHelperActivity(HelperClock clock)
    : clock_(std::move(clock)), lastFinished_(clock_()) {}

void PrivilegedHelperActivity::begin() {
  std::lock_guard guard(lock_);
  if (active_ == LONG_MAX) std::abort();  // cannot happen in practice; never wrap
  ++active_;
}

void PrivilegedHelperActivity::end() {
  std::lock_guard guard(lock_);
  if (active_ == LONG_MIN) std::abort();
  --active_;
  lastFinished_ = clock_();
}

bool PrivilegedHelperActivity::isIdle(double threshold) const {
  std::lock_guard guard(lock_);
  if (active_ != 0) return false;
  return clock_() - lastFinished_ >= threshold;
}

long PrivilegedHelperActivity::active() const {
  std::lock_guard guard(lock_);
  return active_;
}

double PrivilegedHelperActivity::lastFinished() const {
  std::lock_guard guard(lock_);
  return lastFinished_;
}

double IdleWatch::run() const {
  // Deadlines are counted from the start, not from the end of each sleep, so the checks do not drift.
  const double start = clock();
  for (double next = start + kFirstCheck;; next += kInterval) {
    sleepUntil(next);
    if (activity->isIdle(kThreshold)) return next;
  }
}

}  // namespace tidyloom
