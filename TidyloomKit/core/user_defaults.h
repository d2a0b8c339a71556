// UserDefaults: the user's small settings, one JSON object in a file (the platform's user defaults).
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace tidyloom {

class UserDefaults {
 public:
  explicit UserDefaults(std::filesystem::path file) : file_(std::move(file)) {}

  // A missing or undecodable file reads as empty.
  std::optional<nlohmann::json> value(const std::string& key) const;
  std::optional<std::string> string(const std::string& key) const;
  // Read-modify-write of the whole file, written atomically; throws EngineError::io on failure.
  void set(const std::string& key, const nlohmann::json& value) const;
  void remove(const std::string& key) const;

  const std::filesystem::path& file() const { return file_; }

 private:
  nlohmann::json readAll() const;
  std::filesystem::path file_;
};

}  // namespace tidyloom
