// Run recording: statistics first, then the history, under one lock shared by all tidyloom processes.
#include "run_recording.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "history/history_store.h"
#include "history/undo_store.h"
#include "history/usage_stats_store.h"
#include "l10n/l10n.h"
#include "output.h"

namespace tidyloom::cli {
namespace {

// The stores do read-modify-write without locking; two tidyloom runs finishing together would
// otherwise lose one of the entries. The lock is advisory and best effort: without it we still record.
class RecordingLock {
 public:
  explicit RecordingLock(const std::filesystem::path& folder) {
    std::error_code ignored;
    std::filesystem::create_directories(folder, ignored);
    fd_ = ::open((folder / ".history.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
    if (fd_ >= 0) {
      while (::flock(fd_, LOCK_EX) != 0 && errno == EINTR) {
      }
    }
  }
  ~RecordingLock() {
    if (fd_ >= 0) ::close(fd_);  // closing releases the lock
  }
  RecordingLock(const RecordingLock&) = delete;
  RecordingLock& operator=(const RecordingLock&) = delete;

 private:
  int fd_ = -1;
};

const char* statusOf(const RunReport& report) {
  if (report.failed.empty()) return kRunStatusOK;
  return report.removed.empty() ? kRunStatusFailed : kRunStatusPartial;
}

}  // namespace

void recordRun(Context& context, const std::string& feature, RemovalMode mode, const RunReport& report,
               std::uint64_t scannedFiles) {
  recordRun(context, feature, rawValue(mode), report, scannedFiles);
}

void recordRun(Context& context, const std::string& feature, const std::string& mode, const RunReport& report,
               std::uint64_t scannedFiles) {
  const auto handled = report.removed.size() + report.failed.size();
  if (handled == 0) return;
  const auto& folder = context.locations().applicationSupport;
  const auto now = std::chrono::system_clock::now();
  const RecordingLock lock(folder);
  const HistoryStore history(folder / HistoryStore::kFileName);

  // Statistics before the history: a first record seeds from the history, which must not yet
  // hold this run, or its bytes would count twice.
  // What went to a Trash is not free until the Trash is emptied: the statistics and the history
  // count only deleted bytes, and the Trash moves are kept beside them for undo.
  try {
    (void)UsageStatsStore(folder / UsageStatsStore::kFileName, history)
        .record(report.deletedBytes(), scannedFiles, now, report.trashedBytes);
  } catch (const std::exception& e) {
    context.warn(L10n::translate("无法更新使用统计：%@", {e.what()}));
  }
  const auto entry = HistoryEntry::make(feature, now, static_cast<std::int64_t>(handled), report.deletedBytes(), mode,
                                        statusOf(report), report.removed);
  try {
    history.append(entry);
  } catch (const std::exception& e) {
    context.warn(L10n::translate("无法将本次运行记入历史：%@", {e.what()}));
    return;
  }
  if (report.trashed.empty()) return;
  try {
    UndoStore(folder / UndoStore::kFileName).append({entry.id, feature, now, report.trashedBytes, report.trashed});
  } catch (const std::exception& e) {
    context.warn(L10n::translate("无法保存撤销记录，此次运行只能在废纸篓中手动恢复：%@", {e.what()}));
  }
}

std::string removalSummary(const RunReport& report, RemovalMode mode) {
  const auto trashedCount = report.trashed.size();
  const auto deletedCount = report.removed.size() - std::min(trashedCount, report.removed.size());
  std::string lines;
  if (trashedCount > 0 || mode == RemovalMode::trash) {
    lines +=
        L10n::translate("已将 %@ 项（%@）移到废纸篓", {std::to_string(trashedCount), formatBytes(report.trashedBytes)});
    lines += '\n';
  }
  if (deletedCount > 0 || mode == RemovalMode::permanent) {
    lines += L10n::translate("已永久删除 %@ 项，释放 %@",
                             {std::to_string(deletedCount), formatBytes(report.deletedBytes())});
    lines += '\n';
  }
  const bool undoable = std::any_of(report.trashed.begin(), report.trashed.end(),
                                    [](const TrashedItem& item) { return !item.trashFolder.empty(); });
  if (undoable) lines += paint(L10n::translate("可用 tidyloom undo 放回原处"), Colour::dim) + '\n';
  return lines;
}

int runExitStatus(const Context& context, const RunReport& report) {
  if (report.interrupted) {
    context.warn(L10n::translate("已中断：处理了 %@ 项，其余未处理",
                                 {std::to_string(report.removed.size() + report.failed.size())}));
    return kExitInterrupted;
  }
  return report.failed.empty() ? kExitOk : kExitFailure;
}

}  // namespace tidyloom::cli
