// The shared value records every engine speaks: removal modes, scopes, events, reports, candidates.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tidyloom {

enum class RemovalMode { permanent, trash };
enum class RemovalScope { userData, uninstallApp, externalVolume, userSelected };
enum class TaskOutcome { applied, unchanged, skipped, unavailable, attention, failed };

struct RemovalStarted {
  std::string path;
};
struct RemovalFinished {
  std::string path;
  bool removed = false;
};
using RemovalEvent = std::variant<RemovalStarted, RemovalFinished>;

struct FailedPath {
  std::string path;
  std::string reason;
  bool operator==(const FailedPath&) const = default;
};

// The reason given for a path that a stopped run never started on (the daemon's reply lists every
// requested path); such a path was not handled, and a stopped run's own report leaves it out.
inline constexpr const char* kNotStartedReason = "删除已停止，未处理此路径";

// Where one item went when it was moved to a Trash, so that it can be put back.
struct TrashedItem {
  std::string path;         // where it was
  std::string trashFolder;  // the folder now holding it ("…/Trash/files", "~/.Trash"); empty when
                            // another program (the file browser) moved it and did not say where
  std::string trashedName;  // its name in that folder
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  // Creation time in nanoseconds (0 where the file system keeps none): an inode number freed by
  // emptying the Trash can be reused by a new item, its birth time cannot.
  std::int64_t birth = 0;
  std::uint64_t byteSize = 0;
  bool operator==(const TrashedItem&) const = default;
};

struct RunReport {
  std::vector<std::string> removed;
  std::vector<FailedPath> failed;
  // Bytes of everything removed, moved to a Trash or deleted; `trashedBytes` of them went to a
  // Trash and are not free until it is emptied.
  std::uint64_t freedBytes = 0;
  std::vector<std::string> notes;
  std::map<std::string, TaskOutcome> taskOutcomes;
  // The run was stopped (Ctrl-C): the lists hold only the paths handled before it stopped.
  bool interrupted = false;
  std::uint64_t trashedBytes = 0;
  // The removed items that went to a Trash, in processing order.
  std::vector<TrashedItem> trashed;

  // Bytes that are really free now: what was deleted, not what waits in a Trash.
  std::uint64_t deletedBytes() const { return freedBytes - trashedBytes; }

  // Appends another report: lists concatenate, bytes add, outcomes of the other win, a stop stays.
  void merge(const RunReport& other);
  bool operator==(const RunReport&) const = default;
};

struct CleanupCandidate {
  std::string path;
  std::string section;
  std::uint64_t byteSize = 0;
  bool removable = true;
  bool operator==(const CleanupCandidate&) const = default;
};

// Raw names as they appear in JSON and on the command line.
const char* rawValue(RemovalMode mode);
const char* rawValue(RemovalScope scope);
const char* rawValue(TaskOutcome outcome);
std::optional<RemovalMode> removalModeFromRaw(std::string_view raw);
std::optional<RemovalScope> removalScopeFromRaw(std::string_view raw);
std::optional<TaskOutcome> taskOutcomeFromRaw(std::string_view raw);

}  // namespace tidyloom
