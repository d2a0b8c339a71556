// The removal loop: check, measure, re-validate, remove; each path ends in the report or as gone.
#include "removal/remover.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "core/engine_error.h"
#include "l10n/l10n.h"
#include "platform/file_times.h"
#include "removal/file_measure.h"
#include "removal/safe_delete.h"

namespace tidyloom {
namespace fs = std::filesystem;
namespace {

bool isPermissionError(const std::error_code& error) {
  return error == std::errc::permission_denied || error == std::errc::operation_not_permitted;
}

std::string reasonFor(const std::error_code& error, RemovalMode mode) {
  if (error.category() != std::generic_category()) return error.message();
  switch (error.value()) {
    case EACCES:
    case EPERM:
      return L10n::translate("权限不足");
    case EXDEV:
      return mode == RemovalMode::trash ? L10n::translate("该文件系统上没有可用的废纸篓")
                                        : L10n::translate("包含另一个已挂载的文件系统，不会进入");
    case ESTALE:
    case ELOOP:
    case ENOTDIR:
      return L10n::translate("检查后已被替换，请重新扫描");
    case EBUSY:
      return L10n::translate("正在使用中");
    case EROFS:
      return L10n::translate("只读文件系统");
    case ENOTEMPTY:
      return L10n::translate("删除过程中文件夹里出现了新内容");
    case ENOSPC:
      return L10n::translate("磁盘空间不足");
    default:
      return error.message();
  }
}

[[noreturn]] void fail(const std::string& path, const std::error_code& error, RemovalMode mode) {
  const char* format = mode == RemovalMode::trash ? "无法移到废纸篓：%@（%@）" : "无法删除：%@（%@）";
  throw EngineError::io(L10n::translate(format, {path, reasonFor(error, mode)}));
}

// clang-format off
constexpr std::string_view kFinderRefused = "macOS 拒绝将应用移到废纸篓；请允许 Tidyloom 控制“访达”（系统设置 › 隐私与安全性 › 自动化），或在访达中手动移到废纸篓";
// clang-format on

bool isApplicationBundle(const fs::path& path, const std::string& applicationsFolder) {
  const fs::path standard = path.lexically_normal();
  fs::path bundle = standard.has_filename() ? standard : standard.parent_path();
  std::string extension = bundle.extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension == ".app" && bundle.parent_path() == fs::path(applicationsFolder);
}

}  // namespace

BoundedProbe::Result Remover::trashApplicationViaFinder(const std::string& path) {
  return BoundedProbe::run("/usr/bin/osascript",
                           {"-e", "on run argv", "-e", "set p to POSIX file (item 1 of argv)", "-e",
                            "tell application \"Finder\" to delete p", "-e", "end run", path},
                           std::chrono::seconds(30));
}

Remover::FinderRoute Remover::defaultFinderRoute() {
  if (!platform::finderAvailable()) return {};
  return &Remover::trashApplicationViaFinder;
}

std::optional<TrashedItem> Remover::removeOne(const std::string& path, const OpenedItem& item, RemovalMode mode,
                                              std::uint64_t size, const fs::path& home) const {
  // The item must still be the one that was resolved and judged.
  if (const auto error = item.checkUnchanged()) fail(path, error, mode);

  if (mode == RemovalMode::permanent) {
    // A stop lets the path in hand finish: a half-deleted folder helps nobody.
    auto error = SafeDelete::removeAt(item.parent.get(), item.name, item.identity, {});
    // Read-only folders of the user's own (module caches, for one) are made writable, then one retry.
    if (isPermissionError(error) && makeOwnedDirectoriesWritable(item.parent.get(), item.name)) {
      error = SafeDelete::removeAt(item.parent.get(), item.name, item.identity, {});
    }
    if (error) fail(path, error, mode);
    return std::nullopt;
  }

  const platform::TrashRequest request{
      item.parent.get(), item.name, item.path(), item.identity.type == S_IFDIR, size, home};
  const std::int64_t birth = platform::birthNanoseconds(item.parent.get(), item.name.c_str());
  const auto moved = trash(request);
  const auto& error = moved.error;
  // A rename keeps the item's identity: that is how a later undo knows it is still the same item.
  if (!error) {
    return TrashedItem{item.path().string(),
                       moved.folder.string(),
                       moved.name,
                       item.identity.device,
                       item.identity.inode,
                       birth,
                       size};
  }
  if (isPermissionError(error) && finderRoute && isApplicationBundle(item.path(), applicationsFolder)) {
    const auto result = finderRoute(item.path());
    if (result.status != 0 || !result.launched) {
      throw EngineError::io(L10n::translate(kFinderRefused));
    }
    // The file browser keeps its own put-back record; this one cannot be undone from here.
    if (item.isGone()) {
      return TrashedItem{item.path().string(), "", "", item.identity.device, item.identity.inode, birth, size};
    }
    throw EngineError::io(L10n::translate("访达未能将应用移到废纸篓：%@", {path}));
  }
  fail(path, error, mode);
}

RunReport Remover::remove(const std::vector<std::string>& paths, RemovalMode mode, const ScanRoots& roots,
                          RemovalScope scope, bool stopOnFailure, const BeforeRemoval& beforeRemoval) const {
  RunReport report;
  for (const auto& path : paths) {
    if (cancellation.stop_requested()) {
      report.interrupted = true;
      break;
    }
    // The path is resolved here, once; only the handle is used from now on.
    OpenedItem item;
    const auto resolved = resolveItem(fs::absolute(path), item);
    if (resolved == std::errc::no_such_file_or_directory) {
      emit(RemovalFinished{path, true});
      continue;
    }
    emit(RemovalStarted{path});
    std::string reason;
    try {
      if (resolved) fail(path, resolved, mode);
      if (const auto expected = expectedIdentities.find(path);
          expected != expectedIdentities.end() &&
          (expected->second.device != item.identity.device || expected->second.inode != item.identity.inode)) {
        fail(path, std::error_code(ESTALE, std::generic_category()), mode);
      }
      protection.assertRemovable(item.path().string(), path, roots, scope);
      if (resolvedCheck) resolvedCheck(item.path().string());
      const std::uint64_t size = FileMeasure::byteSizeAt(item.parent.get(), item.name.c_str(), tally, cancellation);
      if (beforeRemoval) beforeRemoval(path);
      // Stopped while measuring or checking: this path was not handled.
      if (cancellation.stop_requested()) throw EngineError::cancelled();
      auto trashed = removeOne(path, item, mode, size, roots.home);
      report.removed.push_back(path);
      // A freed total past 2^64 bytes means the measurements are broken; nothing sane can follow.
      if (__builtin_add_overflow(report.freedBytes, size, &report.freedBytes)) std::abort();
      if (trashed) {
        report.trashedBytes += size;  // never more than freedBytes, which did not overflow
        report.trashed.push_back(std::move(*trashed));
      }
      emit(RemovalFinished{path, true});
      continue;
    } catch (const EngineError& e) {
      // A cancelled re-validation ends the run; this path was not handled.
      if (e.isCancelled()) {
        report.interrupted = true;
        break;
      }
      reason = e.message();
    } catch (const std::exception& e) {
      reason = e.what();
    }
    if (!resolved && item.isGone()) {
      emit(RemovalFinished{path, true});
      continue;
    }
    report.failed.push_back({path, reason});
    emit(RemovalFinished{path, false});
    if (stopOnFailure) break;
  }
  return report;
}

}  // namespace tidyloom
