// Rule configuration for the commands that scan with rules.
#include "rule_config.h"

#include "clean/clean_catalog.h"
#include "core/engine_error.h"

namespace tidyloom::cli {

CleanTargetsStore ruleStore(const Context& context, const std::string& rulesFile) {
  CleanTargetsStore store;
  if (!rulesFile.empty()) store.fileURL = std::filesystem::absolute(rulesFile);
  if (context.fixtureMode()) store.platform = RulePlatform::macOS;
  return store;
}

ScanRuleConfig loadRuleConfig(const Context& context, const std::string& rulesFile) {
  if (rulesFile.empty() && !context.fixtureMode()) return CleanCatalog::config();
  try {
    return ruleStore(context, rulesFile).load();
  } catch (const CleanTargetsStore::LoadError& e) {
    if (rulesFile.empty()) return ScanRuleConfig{};
    throw EngineError::io(e.message());
  } catch (const CleanTargetsStore::DecodingError& e) {
    if (rulesFile.empty()) return ScanRuleConfig{};
    throw EngineError::io(e.message());
  }
}

}  // namespace tidyloom::cli
