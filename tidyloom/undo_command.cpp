// tidyloom undo: puts every item of a run that is still in the Trash back where it was, by the
// record the run left beside the history. Never overwrites: a taken path gets the item beside it.
#include <algorithm>
#include <cctype>
#include <iostream>
#include <optional>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "core/engine_error.h"
#include "core/iso8601.h"
#include "core/json_coding.h"
#include "history/undo_store.h"
#include "l10n/l10n.h"
#include "local_time.h"
#include "output.h"
#include "removal/trash_put_back.h"
#include "run_recording.h"

namespace tidyloom::cli {
namespace {

struct UndoOptions {
  std::string runID;
  bool dryRun = false;
  bool list = false;
};

std::size_t stillTrashed(const UndoRecord& record) {
  return static_cast<std::size_t>(std::count_if(record.items.begin(), record.items.end(), PutBack::stillTrashed));
}

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

// The run named by `given` (its id or the start of it, any case); the newest undoable run when
// nothing is named.
std::optional<UndoRecord> chooseRun(const std::vector<UndoRecord>& records, const std::string& given) {
  if (given.empty()) {
    for (const auto& record : records) {
      if (stillTrashed(record) > 0) return record;
    }
    throw EngineError::io(L10n::translate("没有可以撤销的运行：之前移到废纸篓的项目都已不在废纸篓中"));
  }
  const std::string wanted = upper(given);
  std::vector<const UndoRecord*> matches;
  for (const auto& record : records) {
    if (record.runID.starts_with(wanted)) matches.push_back(&record);
  }
  if (matches.empty()) throw EngineError::io(L10n::translate("没有这次运行的撤销记录：%@", {printablePath(given)}));
  if (matches.size() > 1) throw UsageError{L10n::translate("运行编号不唯一，请写得更长：%@", {printablePath(given)})};
  return *matches.front();
}

int listRuns(Context& context, const std::vector<UndoRecord>& records) {
  nlohmann::json rows = nlohmann::json::array();
  Table table({L10n::translate("运行"), L10n::translate("时间"), L10n::translate("功能"), L10n::translate("仍在废纸篓"),
               L10n::translate("移到废纸篓")},
              {Table::Align::left, Table::Align::left, Table::Align::left, Table::Align::right, Table::Align::right});
  for (const auto& record : records) {
    const auto inTrash = stillTrashed(record);
    if (inTrash == 0) continue;
    rows.push_back({{"runID", record.runID},
                    {"feature", record.feature},
                    {"timestamp", formatISO8601(std::chrono::floor<std::chrono::seconds>(record.timestamp))},
                    {"items", record.items.size()},
                    {"inTrash", inTrash},
                    {"trashedBytes", record.trashedBytes}});
    table.add({record.runID.substr(0, 8), formatLocalTime(record.timestamp, "%Y-%m-%d %H:%M"),
               printablePath(record.feature), std::to_string(inTrash) + "/" + std::to_string(record.items.size()),
               formatBytes(record.trashedBytes)});
  }
  if (context.json()) {
    context.printJson(rows);
  } else if (table.empty()) {
    std::cout << L10n::translate("没有可以撤销的运行。") << '\n';
  } else {
    std::cout << table.render();
  }
  return kExitOk;
}

// Restores (or, for a dry run, looks at) every item of the run. The report lists the paths that
// came back (or would) in `removed` and what cannot in `failed`; a new name is a note.
RunReport putBack(const UndoRecord& record, bool dryRun, std::vector<TrashedItem>& remaining,
                  const std::stop_token& stop) {
  RunReport report;
  for (const auto& item : record.items) {
    // After Ctrl-C the items not yet looked at stay in the Trash and in the record.
    if (stop.stop_requested()) {
      report.interrupted = true;
      remaining.push_back(item);
      continue;
    }
    const PutBack result = dryRun ? PutBack::preview(item) : PutBack::restore(item);
    switch (result.state) {
      case PutBack::State::restored:
        report.removed.push_back(result.destination);
        break;
      case PutBack::State::restoredBeside:
        report.removed.push_back(result.destination);
        report.notes.push_back(L10n::translate("%@ 已被占用，放在旁边：%@", {item.path, result.destination}));
        break;
      case PutBack::State::notInTrash:
        report.failed.push_back({item.path, result.reason});
        break;
      case PutBack::State::failed:
        report.failed.push_back({item.path, result.reason});
        remaining.push_back(item);
        break;
    }
  }
  return report;
}

void printReport(const RunReport& report, bool dryRun) {
  for (const auto& path : report.removed) std::cout << paint("↩ ", Colour::green) << printablePath(path) << '\n';
  for (const auto& note : report.notes) std::cout << "  " << printablePath(note) << '\n';
  for (const auto& failure : report.failed) {
    std::cout << paint("✗ ", Colour::red) << printablePath(failure.path) << "\n    " << printablePath(failure.reason)
              << '\n';
  }
  const auto count = std::to_string(report.removed.size());
  std::cout << (dryRun ? L10n::translate("将放回 %@ 项", {count}) : L10n::translate("已放回 %@ 项", {count}));
  if (!report.failed.empty()) {
    std::cout << L10n::translate("，%@ 项无法放回", {std::to_string(report.failed.size())});
  }
  std::cout << '\n';
}

int undo(Context& context, const UndoOptions& options) {
  if (options.list && (options.dryRun || !options.runID.empty())) {
    throw UsageError{L10n::translate("--list 不能与运行编号或 --dry-run 同时使用")};
  }
  const auto& folder = context.locations().applicationSupport;
  const UndoStore store(folder / UndoStore::kFileName);
  const auto records = store.load();
  if (options.list) return listRuns(context, records);

  const auto record = chooseRun(records, options.runID);
  std::vector<TrashedItem> remaining;
  RunReport report = putBack(*record, options.dryRun, remaining, context.stopToken());
  if (!options.dryRun) {
    try {
      store.update(record->runID, remaining);
    } catch (const std::exception& e) {
      context.warn(L10n::translate("无法更新撤销记录：%@", {e.what()}));
    }
    recordRun(context, "undo", "restore", report, 0);
  }
  if (context.json()) {
    context.printJson(nlohmann::json(report));
  } else {
    printReport(report, options.dryRun);
  }
  if (options.dryRun) return report.failed.empty() ? kExitOk : kExitFailure;
  return runExitStatus(context, report);
}

}  // namespace

Handler setupUndo(CLI::App& command, Context& /*context*/) {
  auto options = std::make_shared<UndoOptions>();
  command.add_option("RUN_ID", options->runID, "The run to undo (its id from history or undo --list, or its start)");
  command.add_flag("--dry-run", options->dryRun, "Only list what would come back");
  command.add_flag("--list", options->list, "List the runs that can still be undone");
  return [options](Context& context) { return undo(context, *options); };
}

}  // namespace tidyloom::cli
