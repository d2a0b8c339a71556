// ReplyBox: where one helper call's answer lands; the first answer wins, later ones are dropped.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <variant>

namespace tidyloom {

class ReplyBox {
 public:
  struct Data {
    std::string bytes;
  };
  struct Failure {
    std::string message;
  };
  struct TimedOut {};
  using Outcome = std::variant<Data, Failure, TimedOut>;

  // A present message wins over bytes; with neither, nothing is set (the caller substitutes a message).
  void finish(std::optional<std::string> bytes, std::optional<std::string> message) {
    {
      std::lock_guard guard(lock_);
      if (outcome_) return;
      if (message) {
        outcome_ = Failure{std::move(*message)};
      } else if (bytes) {
        outcome_ = Data{std::move(*bytes)};
      }
    }
    condition_.notify_all();
  }

  // Waits for an answer until `until`, leaving the box open when none came.
  std::optional<Outcome> waitUntil(std::chrono::steady_clock::time_point until) {
    std::unique_lock guard(lock_);
    condition_.wait_until(guard, until, [&] { return outcome_.has_value(); });
    return outcome_;
  }

  // Waits for an answer until `deadline`; past it the outcome becomes (and stays) TimedOut.
  Outcome wait(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock guard(lock_);
    while (!outcome_) {
      if (condition_.wait_until(guard, deadline) == std::cv_status::timeout && !outcome_) outcome_ = TimedOut{};
    }
    return *outcome_;
  }

 private:
  std::mutex lock_;
  std::condition_variable condition_;
  std::optional<Outcome> outcome_;
};

}  // namespace tidyloom
