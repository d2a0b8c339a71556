// Pieces shared by the multi-threaded tree walks: the condition-guarded stack of pending jobs with
// its count of jobs in flight, detached workers joined through a shared group, and the 80 ms pace
// of progress reports and stop polling.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace tidyloom {

// Progress callbacks and stop polling happen at most this often per walk.
inline constexpr std::int64_t kWalkReportIntervalNanoseconds = 80'000'000;

// Monotonic clock in nanoseconds (not affected by changes of the wall clock).
inline std::int64_t monotonicNanoseconds() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// The shared stack of a walk. Workers take jobs with `next()` (last pushed first, so the walk goes
// depth-first and the stack stays small) and call `finished()` after each. `next()` waits while
// the stack is empty but other workers are still active (they may push children), and returns
// none to everybody once the stack is empty with nobody active, or once `isStopped` says so.
//
// Lock order: `isStopped` is called with the stack's lock held; it may take a lock of its own but
// must never wait for the stack.
template <class Job>
class SharedJobStack {
 public:
  explicit SharedJobStack(std::function<bool()> isStopped) : isStopped_(std::move(isStopped)) {}

  std::optional<Job> next() {
    std::unique_lock lock(mutex_);
    for (;;) {
      if (isStopped_ && isStopped_()) {
        pending_.clear();
        condition_.notify_all();
        return std::nullopt;
      }
      if (!pending_.empty()) {
        Job job = std::move(pending_.back());
        pending_.pop_back();
        ++active_;
        return job;
      }
      if (active_ == 0) {
        condition_.notify_all();
        return std::nullopt;
      }
      condition_.wait(lock);
    }
  }

  // Marks one job taken with `next()` as done.
  void finished() {
    std::lock_guard lock(mutex_);
    --active_;
    if (active_ == 0 && pending_.empty()) condition_.notify_all();
  }

  // Runs `update(pending)` under the stack's lock, so a caller can change state guarded by the
  // same lock (a walk's nodes) and push children at once. Wakes waiting workers when it pushed.
  template <class Update>
  void update(Update&& update) {
    std::lock_guard lock(mutex_);
    const size_t before = pending_.size();
    update(pending_);
    if (pending_.size() > before) condition_.notify_all();
  }

  void push(Job job) {
    update([&](std::vector<Job>& pending) { pending.push_back(std::move(job)); });
  }

 private:
  std::mutex mutex_;
  std::condition_variable condition_;
  std::vector<Job> pending_;
  std::int64_t active_ = 0;
  std::function<bool()> isStopped_;
};

// Runs `work` on `threads` plain detached threads and returns once every one of them has ended.
// The group that joins them is shared with each thread, so it outlives the last one to leave it.
inline void runDetachedWorkers(int threads, const std::function<void()>& work) {
  struct Group {
    std::mutex mutex;
    std::condition_variable condition;
    int running = 0;
  };
  auto group = std::make_shared<Group>();
  group->running = threads;
  for (int i = 0; i < threads; ++i) {
    std::thread([group, &work] {
      work();
      std::lock_guard lock(group->mutex);
      if (--group->running == 0) group->condition.notify_all();
    }).detach();
  }
  std::unique_lock lock(group->mutex);
  group->condition.wait(lock, [&] { return group->running == 0; });
}

}  // namespace tidyloom
