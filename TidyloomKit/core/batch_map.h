// Parallel map for the comparison steps: workers claim batches of 32 input indexes under one lock
// and write each result into its own slot, so results need no lock and keep input order.
#pragma once

#include <algorithm>
#include <cstddef>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace tidyloom {

class BatchCursor {
 public:
  static constexpr size_t kBatch = 32;
  explicit BatchCursor(size_t count) : count_(count) {}

  // The next unclaimed [begin, end), or nullopt when every index has been handed out.
  std::optional<std::pair<size_t, size_t>> claim() {
    std::lock_guard lock(mutex_);
    if (position_ >= count_) return std::nullopt;
    const size_t begin = position_;
    position_ = std::min(count_, position_ + kBatch);
    return std::pair{begin, position_};
  }

 private:
  std::mutex mutex_;
  size_t count_;
  size_t position_ = 0;
};

// One optional result per input; each slot has exactly one writer, and is read only after all
// workers have been joined.
template <class T>
struct ResultSlots {
  explicit ResultSlots(size_t count) : storage(count) {}
  std::vector<std::optional<T>> storage;
};

// Runs `compute(input)` (returning std::optional<T>) over `inputs` on up to `threads` threads, the
// caller's included. Returns the values in input order without the empty ones.
template <class T, class Input, class Compute>
std::vector<T> parallelMap(const std::vector<Input>& inputs, int threads, Compute compute) {
  const size_t iterations = std::min(inputs.size(), static_cast<size_t>(std::max(threads, 0)));
  if (iterations < 1) return {};
  BatchCursor cursor(inputs.size());
  ResultSlots<T> slots(inputs.size());
  const auto work = [&] {
    while (const auto batch = cursor.claim()) {
      for (size_t i = batch->first; i < batch->second; ++i) slots.storage[i] = compute(inputs[i]);
    }
  };
  {
    std::vector<std::jthread> helpers;
    for (size_t i = 1; i < iterations; ++i) helpers.emplace_back(work);
    work();
  }
  std::vector<T> values;
  values.reserve(inputs.size());
  for (auto& slot : slots.storage) {
    if (slot) values.push_back(std::move(*slot));
  }
  return values;
}

}  // namespace tidyloom
