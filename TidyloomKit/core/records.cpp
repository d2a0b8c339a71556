// Raw names and merging of the shared records.
#include "core/records.h"

#include <array>
#include <utility>

namespace tidyloom {
namespace {

constexpr std::array<std::pair<RemovalMode, const char*>, 2> kModes{{
    {RemovalMode::permanent, "permanent"},
    {RemovalMode::trash, "trash"},
}};
constexpr std::array<std::pair<RemovalScope, const char*>, 4> kScopes{{
    {RemovalScope::userData, "userData"},
    {RemovalScope::uninstallApp, "uninstallApp"},
    {RemovalScope::externalVolume, "externalVolume"},
    {RemovalScope::userSelected, "userSelected"},
}};
constexpr std::array<std::pair<TaskOutcome, const char*>, 6> kOutcomes{{
    {TaskOutcome::applied, "applied"},
    {TaskOutcome::unchanged, "unchanged"},
    {TaskOutcome::skipped, "skipped"},
    {TaskOutcome::unavailable, "unavailable"},
    {TaskOutcome::attention, "attention"},
    {TaskOutcome::failed, "failed"},
}};

template <typename Table, typename E>
const char* nameOf(const Table& table, E value) {
  for (const auto& [v, name] : table) {
    if (v == value) return name;
  }
  return "";
}

template <typename E, typename Table>
std::optional<E> valueOf(const Table& table, std::string_view raw) {
  for (const auto& [v, name] : table) {
    if (raw == name) return v;
  }
  return std::nullopt;
}

}  // namespace

void RunReport::merge(const RunReport& other) {
  removed.insert(removed.end(), other.removed.begin(), other.removed.end());
  failed.insert(failed.end(), other.failed.begin(), other.failed.end());
  freedBytes += other.freedBytes;
  notes.insert(notes.end(), other.notes.begin(), other.notes.end());
  for (const auto& [task, outcome] : other.taskOutcomes) taskOutcomes[task] = outcome;
  interrupted = interrupted || other.interrupted;
  trashedBytes += other.trashedBytes;
  trashed.insert(trashed.end(), other.trashed.begin(), other.trashed.end());
}

const char* rawValue(RemovalMode mode) { return nameOf(kModes, mode); }
const char* rawValue(RemovalScope scope) { return nameOf(kScopes, scope); }
const char* rawValue(TaskOutcome outcome) { return nameOf(kOutcomes, outcome); }
std::optional<RemovalMode> removalModeFromRaw(std::string_view raw) { return valueOf<RemovalMode>(kModes, raw); }
std::optional<RemovalScope> removalScopeFromRaw(std::string_view raw) { return valueOf<RemovalScope>(kScopes, raw); }
std::optional<TaskOutcome> taskOutcomeFromRaw(std::string_view raw) { return valueOf<TaskOutcome>(kOutcomes, raw); }

}  // namespace tidyloom
