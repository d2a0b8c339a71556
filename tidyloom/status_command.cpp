// tidyloom status: a readable summary of the machine's state, its JSON snapshot, or a series of them.
#include <cmath>
#include <iostream>
#include <limits>

#include <fmt/format.h>

#include "commands.h"
#include "core/iso8601.h"
#include "l10n/l10n.h"
#include "output.h"
#include "status/status_engine.h"

namespace tidyloom::cli {
namespace {

struct StatusOptions {
  double watchSeconds = 0;
  int count = 0;
};

std::string healthLabel(const std::string& label) {
  if (label == "Excellent") return paint(L10n::translate("优秀"), Colour::green);
  if (label == "Good") return paint(L10n::translate("良好"), Colour::green);
  if (label == "Fair") return paint(L10n::translate("一般"), Colour::yellow);
  return paint(L10n::translate("较差"), Colour::red);
}

std::string pressureLabel(const std::string& pressure) {
  if (pressure == "high") return paint(L10n::translate("高"), Colour::red);
  if (pressure == "moderate") return paint(L10n::translate("中等"), Colour::yellow);
  return L10n::translate("正常");
}

std::string uptimeText(double seconds) {
  const auto total = static_cast<long long>(seconds);
  return L10n::translate("%@ 天 %@ 小时 %@ 分钟", {std::to_string(total / 86400), std::to_string(total % 86400 / 3600),
                                                   std::to_string(total % 3600 / 60)});
}

std::string diskText(const StatusSnapshot& s) {
  const double used = diskUsedRatio(s.diskTotalBytes, s.diskFreeBytes) * 100;
  return L10n::translate("%@ 可用，共 %@（已用 %@%%）",
                         {formatBytes(s.diskFreeBytes), formatBytes(s.diskTotalBytes), fmt::format("{:.0f}", used)});
}

std::string summary(const StatusSnapshot& s) {
  std::vector<std::pair<std::string, std::string>> rows{
      {L10n::translate("主机"), printablePath(s.hostName)},
      {L10n::translate("健康评分"), fmt::format("{}  {}", s.healthScore, healthLabel(s.healthScoreMsg))},
      {L10n::translate("内存"), formatBytes(s.physicalMemoryBytes)},
      {L10n::translate("压力"), pressureLabel(s.memoryPressure)},
      {L10n::translate("启动磁盘"), diskText(s)},
      {L10n::translate("可清除空间"), formatBytes(s.diskPurgeableBytes)},
      {L10n::translate("废纸篓"), formatBytes(s.trashSize)},
      {L10n::translate("运行时间"), uptimeText(s.uptimeSeconds)},
      {L10n::translate("进程"), std::to_string(s.processCount)},
      {L10n::translate("采集时间"), formatISO8601(s.capturedAt)},
  };
  std::string out = alignedPairs(rows);
  if (!s.topProcesses.empty()) {
    Table table({"PID", "CPU %", L10n::translate("最繁忙的进程")},
                {Table::Align::right, Table::Align::right, Table::Align::left});
    for (const auto& p : s.topProcesses) {
      table.add({std::to_string(p.pid), fmt::format("{:.1f}", p.cpu), printablePath(p.name)});
    }
    out += "\n" + table.render();
  }
  return out;
}

int run(Context& context, const StatusOptions& options, bool watching) {
  const StatusEngine engine(context.locations());
  if (!watching) {
    context.progress().update(L10n::translate("正在读取系统状态…"));
    const auto snapshot = engine.snapshot();
    context.progress().clear();
    if (context.json()) {
      context.printJson(snapshot);
    } else {
      std::cout << summary(snapshot) << std::flush;
    }
    return kExitOk;
  }
  // Without --count the watch goes on until Ctrl-C.
  const int count = options.count > 0 ? options.count : std::numeric_limits<int>::max();
  bool first = true;
  engine.watchSnapshots(
      options.watchSeconds, count,
      [&](const StatusSnapshot& snapshot) {
        if (context.json()) {
          context.printJsonLine(snapshot);
          return;
        }
        std::cout << (first ? "" : "\n") << summary(snapshot) << std::flush;
        first = false;
      },
      context.stopToken());
  return kExitOk;
}

}  // namespace

Handler setupStatus(CLI::App& command, Context& /*context*/) {
  auto options = std::make_shared<StatusOptions>();
  auto* watch = command
                    .add_option("--watch", options->watchSeconds,
                                "Take a snapshot every SECONDS (until Ctrl-C, or --count times)")
                    ->type_name("SECONDS")
                    ->check(positiveNumber());
  command.add_option("--count", options->count, "Number of snapshots to take with --watch")
      ->type_name("N")
      ->check(positiveNumber())
      ->needs(watch);
  return [options, watch](Context& context) { return run(context, *options, watch->count() > 0); };
}

}  // namespace tidyloom::cli
