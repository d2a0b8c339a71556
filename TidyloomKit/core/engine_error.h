// EngineError: the one exception type that crosses module boundaries, carrying a localised message.
#pragma once

#include <stdexcept>
#include <string>

namespace tidyloom {

class EngineError : public std::exception {
 public:
  enum class Kind { notImplemented, io, protection, cancelled };

  static EngineError notImplemented(std::string message) { return {Kind::notImplemented, std::move(message)}; }
  static EngineError io(std::string message) { return {Kind::io, std::move(message)}; }
  static EngineError protection(std::string message) { return {Kind::protection, std::move(message)}; }
  // The description of `cancelled` is localised when it is made; it is never written into a report.
  static EngineError cancelled();

  Kind kind() const noexcept { return kind_; }
  bool isCancelled() const noexcept { return kind_ == Kind::cancelled; }
  // The user-visible description.
  const std::string& message() const noexcept { return message_; }
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  EngineError(Kind kind, std::string message) : kind_(kind), message_(std::move(message)) {}
  Kind kind_;
  std::string message_;
};

}  // namespace tidyloom
