// UserDefaults over an atomically written JSON object.
#include "core/user_defaults.h"

#include "core/atomic_write.h"

namespace tidyloom {

nlohmann::json UserDefaults::readAll() const {
  std::string data;
  if (!readWholeFile(file_, data)) return nlohmann::json::object();
  auto parsed = nlohmann::json::parse(data, nullptr, false);
  return parsed.is_object() ? parsed : nlohmann::json::object();
}

std::optional<nlohmann::json> UserDefaults::value(const std::string& key) const {
  const auto all = readAll();
  const auto found = all.find(key);
  if (found == all.end()) return std::nullopt;
  return *found;
}

std::optional<std::string> UserDefaults::string(const std::string& key) const {
  const auto v = value(key);
  if (!v || !v->is_string()) return std::nullopt;
  return v->get<std::string>();
}

namespace {

bool decodes(const std::string& data) { return nlohmann::json::parse(data, nullptr, false).is_object(); }

}  // namespace

void UserDefaults::set(const std::string& key, const nlohmann::json& value) const {
  auto all = readAll();
  all[key] = value;
  writeStoreFile(file_, all.dump(2) + "\n", decodes);
}

void UserDefaults::remove(const std::string& key) const {
  auto all = readAll();
  if (all.erase(key) > 0) writeStoreFile(file_, all.dump(2) + "\n", decodes);
}

}  // namespace tidyloom
