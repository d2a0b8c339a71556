// Records a finished removal run in the run history and the usage statistics.
#pragma once

#include <cstdint>
#include <string>

#include "context.h"
#include "core/records.h"

namespace tidyloom::cli {

// Status texts of a recorded run: none failed, some failed, all failed.
inline constexpr const char* kRunStatusOK = "ok";
inline constexpr const char* kRunStatusPartial = "partial";
inline constexpr const char* kRunStatusFailed = "failed";

// Appends one history entry for `feature` (the command name) with removed + failed as its item
// count and the removed paths, and adds the freed bytes and `scannedFiles` to the statistics.
// A run that handled no path records nothing. Never throws: a failure to record becomes a
// warning, so the run's own result is always reported.
// Bytes moved to a Trash are not counted as freed; the run's Trash moves are kept in the undo
// store under the history entry's id.
void recordRun(Context& context, const std::string& feature, RemovalMode mode, const RunReport& report,
               std::uint64_t scannedFiles);
// The same with a mode text of its own ("restore" for an undo).
void recordRun(Context& context, const std::string& feature, const std::string& mode, const RunReport& report,
               std::uint64_t scannedFiles);

// What a removal run did, in words that keep Trash moves apart from deletions: "Moved N items (X)
// to the Trash" and/or "Deleted M items permanently, freeing Y", one line each; the line of
// `mode` is there even when nothing was handled.
std::string removalSummary(const RunReport& report, RemovalMode mode);

// The exit status of a finished or stopped run: 130 when stopped, 1 when a path failed, else 0.
// A stopped run also says on standard error how far it got.
int runExitStatus(const Context& context, const RunReport& report);

}  // namespace tidyloom::cli
