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

void UserDefaults::set(const std::string& key, const nlohmann::json& value) const {
  auto all = readAll();
  all[key] = value;
  writeFileAtomically(file_, all.dump(2) + "\n");
}

void UserDefaults::remove(const std::string& key) const {
  auto all = readAll();
  if (all.erase(key) > 0) writeFileAtomically(file_, all.dump(2) + "\n");
}

}  // namespace tidyloom
