// Whitelist file reading and writing; a bad file is treated as an empty list.
#include "removal/whitelist_store.h"

#include <optional>

#include <nlohmann/json.hpp>

#include "core/atomic_write.h"
#include "core/json_coding.h"
#include "removal/protection_layer.h"
#include "removal/whitelist_policy.h"

namespace tidyloom {

WhitelistStore WhitelistStore::inFolder(const std::filesystem::path& applicationSupport) {
  std::error_code ec;
  std::filesystem::create_directories(applicationSupport, ec);
  return WhitelistStore(applicationSupport / "whitelist.json");
}

namespace {

std::optional<std::vector<std::string>> decode(const std::string& data) {
  try {
    return nlohmann::json::parse(data).get<std::vector<std::string>>();
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

}  // namespace

std::vector<std::string> WhitelistStore::load() const {
  std::string data;
  if (!readWholeFile(fileURL, data)) return {};
  return decode(data).value_or(std::vector<std::string>{});
}

void WhitelistStore::save(const std::vector<std::string>& patterns) const {
  writeStoreFile(fileURL, dumpEscapingSlashes(nlohmann::json(patterns)),
                 [](const std::string& data) { return decode(data).has_value(); });
}

bool WhitelistStore::contains(const std::string& path) const {
  for (std::string entry : load()) {
    while (entry.size() > 1 && entry.back() == '/') entry.pop_back();
    if (!entry.empty() && isUnder(path, entry)) return true;
  }
  return false;
}

std::vector<std::string> WhitelistStore::effectivePatterns(const std::string& home) const {
  std::vector<std::string> patterns = load();
  std::error_code ec;
  if (patterns.empty() && !std::filesystem::exists(fileURL, ec)) patterns = WhitelistPolicy::defaults(home);
  const auto safety = WhitelistPolicy::safety(home);
  patterns.insert(patterns.end(), safety.begin(), safety.end());
  return WhitelistPolicy::expand(patterns, home);
}

}  // namespace tidyloom
