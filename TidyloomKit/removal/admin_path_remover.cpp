// Administrator removal: the same gates as the remover, then one batch of rm steps.
#include "removal/admin_path_remover.h"

#include <sys/stat.h>

#include "core/control_characters.h"
#include "core/engine_error.h"
#include "l10n/l10n.h"
#include "removal/file_measure.h"
#include "removal/privileged_runner.h"

namespace tidyloom {
namespace {

bool stillExists(const std::string& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0;
}

}  // namespace

RunReport AdminPathRemover::remove(const std::vector<std::string>& paths, const ScanRoots& roots, RemovalScope scope,
                                   const BeforeRemoval& beforeRemoval) const {
  return removeBatch({BatchPlan{paths, scope, beforeRemoval}}, roots);
}

RunReport AdminPathRemover::removeBatch(const std::vector<BatchPlan>& plans, const ScanRoots& roots) const {
  struct Pending {
    std::string path;
    std::uint64_t size = 0;
  };
  RunReport report;
  std::vector<AdminStep> steps;
  std::vector<Pending> pending;
  for (const auto& plan : plans) {
    for (const auto& path : plan.paths) {
      try {
        if (containsControlCharacter(path)) {
          throw EngineError::protection(L10n::translate("路径包含控制字符：%@", {path}));
        }
        protection_.assertRemovable(path, roots, plan.scope);
        if (plan.beforeRemoval) plan.beforeRemoval(path);
        const std::uint64_t size = FileMeasure::byteSize(path);
        steps.push_back({std::to_string(steps.size() + 1), "/bin/rm -rf " + shellQuoted(path)});
        pending.push_back({path, size});
      } catch (const EngineError& error) {
        if (error.isCancelled()) throw;
        report.failed.push_back({path, error.message()});
      }
    }
  }
  if (steps.empty()) return report;
  const AdminStepErrors errors = runner_.runAdminBatch(steps, {});
  for (size_t i = 0; i < steps.size(); ++i) {
    const auto& [path, size] = pending[i];
    const auto error = errors.find(steps[i].id);
    if (!stillExists(path)) {
      report.removed.push_back(path);
      report.freedBytes += size;
    } else if (error != errors.end()) {
      report.failed.push_back({path, L10n::translate("管理员删除失败：%@", {error->second})});
    } else {
      report.failed.push_back({path, L10n::translate("管理员删除后文件仍存在")});
    }
  }
  return report;
}

}  // namespace tidyloom
