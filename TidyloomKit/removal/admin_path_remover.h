// AdminPathRemover: removal of root-owned paths through the administrator shell, one prompt per batch.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/records.h"
#include "core/scan_roots.h"
#include "removal/protection_layer.h"

namespace tidyloom {

class PrivilegedRunning;

class AdminPathRemover {
 public:
  // Re-checks one path just before it is removed; throws EngineError to keep it.
  using BeforeRemoval = std::function<void(const std::string& path)>;

  struct BatchPlan {
    std::vector<std::string> paths;
    RemovalScope scope = RemovalScope::userData;
    BeforeRemoval beforeRemoval;
  };

  // `removalCommand` is the program (and its first arguments) that removes one checked path with
  // administrator rights: the front end's own privileged removal entry, which resolves the path
  // into a held handle, checks it again and removes it without following any link. It is given
  // "--scope S --expect DEV:INO -- PATH" and must exit 0 only when the path is gone.
  AdminPathRemover(PrivilegedRunning& runner, std::vector<std::string> removalCommand, ProtectionLayer protection = {})
      : runner_(runner), removalCommand_(std::move(removalCommand)), protection_(std::move(protection)) {}

  // Checks each path (control characters, protection layer, `beforeRemoval`), measures it and
  // removes all that pass with one administrator batch of removal commands. Throws EngineError::io
  // only when the administrator authorisation fails or is cancelled (then nothing was removed).
  RunReport remove(const std::vector<std::string>& paths, const ScanRoots& roots, RemovalScope scope,
                   const BeforeRemoval& beforeRemoval = {}) const;
  // Several plans, each with its own scope and re-check, under one authorisation.
  RunReport removeBatch(const std::vector<BatchPlan>& plans, const ScanRoots& roots) const;

 private:
  std::string stepCommand(const std::string& path, RemovalScope scope, const std::string& identity) const;

  PrivilegedRunning& runner_;
  std::vector<std::string> removalCommand_;
  ProtectionLayer protection_;
};

}  // namespace tidyloom
