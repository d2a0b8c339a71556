// LargeFileRemover: removes files chosen in a large-file or duplicate listing through the Remover.
#pragma once

#include <string>
#include <vector>

#include "core/records.h"
#include "core/scan_roots.h"
#include "removal/remover.h"

namespace tidyloom {

enum class LargeFileAction { trash, permanent };

struct LargeFileRemover {
  // Removes `paths` as paths the user selected, to the Trash or permanently. `remover` carries the
  // protection layer, the Trash route and the cancellation token; a path that changed into
  // something other than a file or folder since it was listed fails instead of being removed.
  static RunReport run(const std::vector<std::string>& paths, LargeFileAction action, const ScanRoots& roots,
                       const Remover& remover = Remover{});
};

}  // namespace tidyloom
