// Removal of chosen large files and duplicate copies in the mode that matches the action.
#include "analysis/large_file_remover.h"

#include <sys/stat.h>

#include "core/engine_error.h"
#include "l10n/l10n.h"

namespace tidyloom {

RunReport LargeFileRemover::run(const std::vector<std::string>& paths, LargeFileAction action, const ScanRoots& roots,
                                const Remover& remover) {
  const RemovalMode mode = action == LargeFileAction::trash ? RemovalMode::trash : RemovalMode::permanent;
  // Listings only ever hold regular files and package folders; anything else now at the path
  // (a link swapped in, a device) was not what the user reviewed.
  const auto recheck = [](const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) return;  // gone: the remover counts it as done
    if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
      throw EngineError::io(L10n::translate("文件在扫描后已改变，请重新扫描"));
    }
  };
  return remover.remove(paths, mode, roots, RemovalScope::userSelected, false, recheck);
}

}  // namespace tidyloom
