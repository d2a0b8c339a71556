// Which rule configuration a command uses: --rules FILE, the macOS rules for a fixture tree, or the
// catalogue of this machine.
#pragma once

#include <string>

#include "clean/clean_targets_store.h"
#include "context.h"

namespace tidyloom::cli {

// The store a command reads: `rulesFile` when given, else the shipped file for the platform the
// tree is shaped like (fixture trees are shaped like macOS).
CleanTargetsStore ruleStore(const Context& context, const std::string& rulesFile);

// Loads the rules a command uses. A file named with --rules must be valid: its first error is
// thrown as EngineError. Without --rules the process-wide catalogue (or the fixture's macOS rules)
// is used, which falls back to no rules silently.
ScanRuleConfig loadRuleConfig(const Context& context, const std::string& rulesFile);

}  // namespace tidyloom::cli
