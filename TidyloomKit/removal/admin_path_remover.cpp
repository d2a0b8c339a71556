// Administrator removal: the same gates as the remover, then one batch of rm steps.
#include "removal/admin_path_remover.h"

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include "core/control_characters.h"
#include "core/engine_error.h"
#include "l10n/l10n.h"
#include "removal/file_measure.h"
#include "removal/privileged_runner.h"
#include "removal/safe_delete.h"

namespace tidyloom {
namespace {

// Only "no such file" means gone; any other answer leaves the path's fate unknown, so not removed.
std::error_code lookUp(const std::string& path) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) == 0) return {};
  return {errno, std::generic_category()};
}

}  // namespace

std::string AdminPathRemover::stepCommand(const std::string& path, RemovalScope scope,
                                          const std::string& identity) const {
  std::string command;
  for (const auto& word : removalCommand_) command += shellQuoted(word) + " ";
  return command + "--scope " + std::string(rawValue(scope)) + " --expect " + identity + " -- " + shellQuoted(path);
}

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
      // A stop leaves the paths not yet checked out of the run altogether.
      if (runner_.stop.stop_requested()) {
        report.interrupted = true;
        break;
      }
      try {
        if (containsControlCharacter(path)) {
          throw EngineError::protection(L10n::translate("路径包含控制字符：%@", {path}));
        }
        // Resolved once here to judge and measure it; the privileged side resolves it again and
        // removes it only if it is still this very item.
        OpenedItem item;
        if (const auto error = resolveItem(std::filesystem::absolute(path), item)) {
          if (error == std::errc::no_such_file_or_directory) continue;
          throw EngineError::io(L10n::translate("管理员删除失败：%@", {error.message()}));
        }
        protection_.assertRemovable(item.path().string(), path, roots, plan.scope);
        if (plan.beforeRemoval) plan.beforeRemoval(path);
        const std::uint64_t size = FileMeasure::byteSizeAt(item.parent.get(), item.name.c_str());
        const std::string identity = std::to_string(item.identity.device) + ":" + std::to_string(item.identity.inode);
        steps.push_back({std::to_string(steps.size() + 1), stepCommand(path, plan.scope, identity)});
        pending.push_back({path, size});
      } catch (const EngineError& error) {
        if (error.isCancelled()) {
          report.interrupted = true;
          break;
        }
        report.failed.push_back({path, error.message()});
      }
    }
  }
  if (steps.empty()) return report;
  const AdminStepErrors errors = runner_.runAdminBatch(steps, {});
  for (size_t i = 0; i < steps.size(); ++i) {
    const auto& [path, size] = pending[i];
    const auto error = errors.find(steps[i].id);
    const auto found = lookUp(path);
    if (error != errors.end() && error->second == L10n::translate(kNotStartedReason)) {
      report.interrupted = true;  // never started: not handled
    } else if (error != errors.end()) {
      report.failed.push_back({path, L10n::translate("管理员删除失败：%@", {error->second})});
    } else if (!found) {
      report.failed.push_back({path, L10n::translate("管理员删除后文件仍存在")});
    } else if (found != std::errc::no_such_file_or_directory) {
      report.failed.push_back({path, L10n::translate("管理员删除失败：%@", {found.message()})});
    } else {
      report.removed.push_back(path);
      report.freedBytes += size;
    }
  }
  return report;
}

}  // namespace tidyloom
