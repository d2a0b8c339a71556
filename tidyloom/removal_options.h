// What the removal commands share: scope names, absolute paths, and engines set up for live or fixture.
#pragma once

#include <string>
#include <vector>

#include "context.h"
#include "core/records.h"
#include "removal/protection_layer.h"
#include "removal/remover.h"

namespace tidyloom::cli {

// Parses a scope raw value; throws UsageError naming the valid ones.
RemovalScope parseScope(const std::string& raw);
// The path made absolute from the working directory, "." and ".." resolved lexically (links kept,
// so the protection layer judges what they point to).
std::string absolutePath(const std::string& path);
// The protection layer for this run: in fixture mode the system application folder is DIR/Applications.
ProtectionLayer protectionFor(const Context& context);
// A Remover with the real Trash and the Finder route, or in fixture mode the fixture Trash and no
// outside route.
Remover removerFor(const Context& context);
// The command the administrator shell runs to remove one checked path: this very program's
// privileged removal entry, with this run's language, fixture and home. With `systemSections`
// the privileged side also requires the path it finds to lie in a section of the system scan.
std::vector<std::string> adminRemovalCommand(const Context& context, bool systemSections);

}  // namespace tidyloom::cli
