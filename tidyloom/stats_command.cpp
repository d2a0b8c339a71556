// tidyloom stats: days of use, bytes freed and files scanned since the first run.
#include <iostream>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "history/usage_stats_store.h"
#include "l10n/l10n.h"
#include "local_time.h"
#include "output.h"

namespace tidyloom::cli {

Handler setupStats(CLI::App& /*command*/, Context& /*context*/) {
  return [](Context& context) {
    const auto& folder = context.locations().applicationSupport;
    const UsageStatsStore store(folder / UsageStatsStore::kFileName, HistoryStore(folder / HistoryStore::kFileName));
    const auto now = std::chrono::system_clock::now();
    const auto stats = store.load(now);
    if (context.json()) {
      nlohmann::json document = stats;
      document["trashedBytes"] = stats.trashedBytes;
      context.printJson(document);
      return kExitOk;
    }
    Table table({L10n::translate("统计"), L10n::translate("数值")}, {Table::Align::left, Table::Align::right});
    table.add({L10n::translate("使用天数"), std::to_string(stats.days(now, Calendar::current()))});
    table.add({L10n::translate("首次使用"), formatLocalTime(stats.firstUse, "%Y-%m-%d")});
    table.add({L10n::translate("共释放"), formatBytes(stats.freedBytes)});
    table.add({L10n::translate("共移到废纸篓"), formatBytes(stats.trashedBytes)});
    table.add({L10n::translate("已扫描文件"), fmt::format("{}", stats.scannedFiles)});
    std::cout << table.render();
    return kExitOk;
  };
}

}  // namespace tidyloom::cli
