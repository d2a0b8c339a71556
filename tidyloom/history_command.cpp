// tidyloom history: the finished runs, newest first, or the export document with --export N.
#include <iostream>
#include <optional>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "history/history_store.h"
#include "l10n/l10n.h"
#include "local_time.h"
#include "output.h"
#include "run_recording.h"

namespace tidyloom::cli {
namespace {

struct HistoryOptions {
  std::optional<std::int64_t> exportLimit;  // absent: list the runs instead
};

std::string modeText(const std::string& mode) {
  if (mode == "trash") return L10n::translate("移到废纸篓");
  if (mode == "permanent") return L10n::translate("永久删除");
  return mode;
}

std::string statusText(const std::string& status) {
  if (status == kRunStatusOK) return paint(L10n::translate("成功"), Colour::green);
  if (status == kRunStatusPartial) return paint(L10n::translate("部分失败"), Colour::yellow);
  if (status == kRunStatusFailed) return paint(L10n::translate("失败"), Colour::red);
  return paint(printablePath(status), Colour::yellow);
}

void printRuns(const std::vector<HistoryEntry>& entries) {
  if (entries.empty()) {
    std::cout << L10n::translate("还没有运行记录。") << '\n';
    return;
  }
  Table table({L10n::translate("时间"), L10n::translate("功能"), L10n::translate("项目"), L10n::translate("释放"),
               L10n::translate("方式"), L10n::translate("结果")},
              {Table::Align::left, Table::Align::left, Table::Align::right, Table::Align::right, Table::Align::left,
               Table::Align::left});
  std::uint64_t freed = 0;
  for (const auto& entry : entries) {
    freed += entry.freedBytes;
    table.add({formatLocalTime(entry.timestamp, "%Y-%m-%d %H:%M"), printablePath(entry.feature),
               std::to_string(entry.itemCount), formatBytes(entry.freedBytes), modeText(entry.mode),
               statusText(entry.status)});
  }
  std::cout << table.render();
  std::cout << L10n::translate("共 %@ 次运行，释放 %@", {std::to_string(entries.size()), formatBytes(freed)}) << '\n';
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
    if (context.json()) {
      context.printJson(nlohmann::json(entries));
    } else {
      printRuns(entries);
    }
    return kExitOk;
  };
}

}  // namespace tidyloom::cli
