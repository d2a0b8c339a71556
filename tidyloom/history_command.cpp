// tidyloom history: the finished runs, newest first, or the export document with --export N.
#include <algorithm>
#include <iostream>
#include <map>
#include <optional>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "history/history_store.h"
#include "history/undo_store.h"
#include "l10n/l10n.h"
#include "local_time.h"
#include "output.h"
#include "removal/trash_put_back.h"
#include "run_recording.h"

namespace tidyloom::cli {
namespace {

struct HistoryOptions {
  std::optional<std::int64_t> exportLimit;  // absent: list the runs instead
};

// What the undo store knows of each run that moved items to a Trash.
struct TrashFacts {
  std::uint64_t trashedBytes = 0;
  bool undoable = false;  // an item of it is still in its Trash
};

std::map<std::string, TrashFacts> trashFacts(const std::filesystem::path& folder) {
  std::map<std::string, TrashFacts> facts;
  for (const auto& record : UndoStore(folder / UndoStore::kFileName).load()) {
    facts[record.runID] = {record.trashedBytes,
                           std::any_of(record.items.begin(), record.items.end(), PutBack::stillTrashed)};
  }
  return facts;
}

std::string modeText(const std::string& mode) {
  if (mode == "trash") return L10n::translate("移到废纸篓");
  if (mode == "restore") return L10n::translate("从废纸篓放回");
  if (mode == "permanent") return L10n::translate("永久删除");
  return mode;
}

std::string statusText(const std::string& status) {
  if (status == kRunStatusOK) return paint(L10n::translate("成功"), Colour::green);
  if (status == kRunStatusPartial) return paint(L10n::translate("部分失败"), Colour::yellow);
  if (status == kRunStatusFailed) return paint(L10n::translate("失败"), Colour::red);
  return paint(printablePath(status), Colour::yellow);
}

void printRuns(const std::vector<HistoryEntry>& entries, const std::map<std::string, TrashFacts>& facts) {
  if (entries.empty()) {
    std::cout << L10n::translate("还没有运行记录。") << '\n';
    return;
  }
  Table table(
      {L10n::translate("时间"), L10n::translate("运行"), L10n::translate("功能"), L10n::translate("项目"),
       L10n::translate("释放"), L10n::translate("移到废纸篓"), L10n::translate("方式"), L10n::translate("结果")},
      {Table::Align::left, Table::Align::left, Table::Align::left, Table::Align::right, Table::Align::right,
       Table::Align::right, Table::Align::left, Table::Align::left});
  std::uint64_t freed = 0;
  std::uint64_t trashed = 0;
  bool anyUndoable = false;
  for (const auto& entry : entries) {
    const auto known = facts.find(entry.id);
    const TrashFacts fact = known == facts.end() ? TrashFacts{} : known->second;
    freed += entry.freedBytes;
    trashed += fact.trashedBytes;
    anyUndoable = anyUndoable || fact.undoable;
    std::string result = statusText(entry.status);
    if (fact.undoable) result += " " + paint(L10n::translate("可撤销"), Colour::green);
    table.add({formatLocalTime(entry.timestamp, "%Y-%m-%d %H:%M"), entry.id.substr(0, 8), printablePath(entry.feature),
               std::to_string(entry.itemCount), formatBytes(entry.freedBytes),
               fact.trashedBytes > 0 ? formatBytes(fact.trashedBytes) : "-", modeText(entry.mode), result});
  }
  std::cout << table.render();
  std::cout << L10n::translate("共 %@ 次运行，释放 %@，移到废纸篓 %@",
                               {std::to_string(entries.size()), formatBytes(freed), formatBytes(trashed)})
            << '\n';
  if (anyUndoable)
    std::cout << paint(L10n::translate("用 tidyloom undo 运行编号 放回一次运行移到废纸篓的项目"), Colour::dim) << '\n';
}

}  // namespace

Handler setupHistory(CLI::App& command, Context& /*context*/) {
  auto options = std::make_shared<HistoryOptions>();
  command.add_option("--export", options->exportLimit, "Print the newest N runs as a session/deletion document")
      ->type_name("N");
  return [options](Context& context) {
    const HistoryStore store(context.locations().applicationSupport / HistoryStore::kFileName);
    if (options->exportLimit) {
      if (*options->exportLimit < 0) {
        throw UsageError{L10n::translate("导出数量不能为负数：%@", {std::to_string(*options->exportLimit)})};
      }
      std::cout << store.quillJSON(*options->exportLimit) << '\n' << std::flush;
      return kExitOk;
    }
    const auto entries = store.load();
    const auto facts = trashFacts(context.locations().applicationSupport);
    if (context.json()) {
      // The history file's own keys, with what the undo store adds beside them.
      nlohmann::json rows = nlohmann::json::array();
      for (const auto& entry : entries) {
        nlohmann::json row = entry;
        const auto known = facts.find(entry.id);
        row["trashedBytes"] = known == facts.end() ? 0 : known->second.trashedBytes;
        row["undoable"] = known != facts.end() && known->second.undoable;
        rows.push_back(std::move(row));
      }
      context.printJson(rows);
    } else {
      printRuns(entries, facts);
    }
    return kExitOk;
  };
}

}  // namespace tidyloom::cli
