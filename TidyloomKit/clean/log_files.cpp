// Log-file name matching with the rule file's patterns; compiled patterns are kept per thread.
#include <map>
#include <memory>
#include <string>

#include "clean/icu_regex.h"
#include "clean/scan_rule_config.h"

namespace tidyloom {

bool ScanRuleConfig::LogFiles::matches(std::string_view name, std::string_view pattern) {
  if (pattern.empty()) return false;
  // Scanners test many names against the same few patterns; compiling once per thread keeps that cheap.
  thread_local std::map<std::string, std::unique_ptr<IcuRegex>, std::less<>> compiled;
  auto it = compiled.find(pattern);
  if (it == compiled.end()) it = compiled.emplace(std::string(pattern), IcuRegex::compile(pattern)).first;
  return it->second && it->second->search(name);
}

}  // namespace tidyloom
