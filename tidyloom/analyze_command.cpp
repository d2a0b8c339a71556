// tidyloom analyze / overview: one folder's children biggest first, or where a home's space goes.
#include <chrono>
#include <thread>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "analysis/analyze_engine.h"
#include "commands.h"
#include "l10n/l10n.h"
#include "output.h"
#include "size_bar.h"

namespace tidyloom::cli {
namespace {

struct AnalyzeOptions {
  std::string path;
  int limit = 40;
  bool skipProtected = false;
};

AnalyzeEngine engineFor(Context& context) {
  AnalyzeEngine engine;
  const auto& locations = context.locations();
  if (locations.isFixture()) {
    engine.systemApplications = *locations.fixtureRoot / "Applications";
    engine.listsVolumes = false;
  }
  engine.tally = std::make_shared<ScanTally>();
  engine.stopToken = context.stopToken();
  return engine;
}

// Measuring big folders takes a while: show the count of files measured until `work` returns.
template <class Work>
AnalyzeReport withProgress(Context& context, const AnalyzeEngine& engine, Work&& work) {
  auto& progress = context.progress();
  std::jthread ticker;
  if (progress.enabled()) {
    ticker = std::jthread([&progress, tally = engine.tally](std::stop_token stop) {
      const std::string label = L10n::translate("正在测量");
      while (!stop.stop_requested()) {
        progress.update(label, tally->files());
        std::this_thread::sleep_for(std::chrono::milliseconds(80));
      }
    });
  }
  AnalyzeReport report = work();
  if (ticker.joinable()) {
    ticker.request_stop();
    ticker.join();
  }
  progress.clear();
  return report;
}

std::string flagsOf(const DiskEntry& entry) {
  std::string flags;
  if (entry.cleanable) flags = paint(L10n::translate("可清理"), Colour::green);
  if (entry.insight) {
    if (!flags.empty()) flags += " ";
    flags += paint(L10n::translate("值得一看"), Colour::yellow);
  }
  return flags;
}

void printReport(const AnalyzeReport& report, bool overview) {
  const auto heading =
      overview ? L10n::translate("%@：共 %@，测量了 %@ 处", {printablePath(report.path), formatBytes(report.totalSize),
                                                             std::to_string(report.totalFiles)})
               : L10n::translate("%@：共 %@，%@ 个文件", {printablePath(report.path), formatBytes(report.totalSize),
                                                          std::to_string(report.totalFiles)});
  fmt::print("{}\n", paint(heading, Colour::bold));
  if (report.entries.empty()) {
    fmt::print("{}\n", L10n::translate("（空）"));
    return;
  }
  Table table({L10n::translate("大小"), L10n::translate("占比"), "", L10n::translate("名称"), ""},
              {Table::Align::right, Table::Align::right, Table::Align::left, Table::Align::left, Table::Align::left});
  for (const auto& entry : report.entries) {
    std::string flags = flagsOf(entry);
    // The overview mixes places from everywhere: say where each one is.
    if (overview) flags = paint(printablePath(entry.path), Colour::dim) + (flags.empty() ? "" : "  " + flags);
    table.add({formatBytes(entry.size), sizeShare(entry.size, report.totalSize),
               paint(sizeBar(entry.size, report.totalSize), Colour::green),
               printablePath(entry.name) + (entry.isDir ? "/" : ""), flags});
  }
  fmt::print("{}", table.render());
  if (!report.largeFiles.empty()) {
    fmt::print("\n{}\n", paint(L10n::translate("大文件（10 MB 及以上）："), Colour::bold));
    for (const auto& file : report.largeFiles) {
      fmt::print("  {:>10}  {}\n", formatBytes(file.size), printablePath(file.path));
    }
  }
}

int runAnalyze(Context& context, const AnalyzeOptions& options) {
  if (options.limit < 1) throw UsageError{L10n::translate("--limit 至少为 1")};
  const auto engine = engineFor(context);
  const std::filesystem::path path = options.path.empty() ? context.locations().roots.home
                                                          : std::filesystem::absolute(options.path).lexically_normal();
  context.requireInsideFixture(path);
  const auto report = withProgress(context, engine, [&] { return engine.report(path, options.limit); });
  if (context.json()) {
    context.printJson(report);
  } else if (report.scanStatus == "complete") {
    printReport(report, false);
  }
  if (report.scanStatus != "complete") {
    context.error(L10n::translate("无法读取文件夹：%@", {printablePath(path.string())}));
    return kExitFailure;
  }
  return kExitOk;
}

int runOverview(Context& context, const AnalyzeOptions& options) {
  const auto engine = engineFor(context);
  const auto home = context.locations().roots.home;
  const auto report = withProgress(context, engine, [&] { return engine.overview(home, options.skipProtected); });
  if (context.json()) {
    context.printJson(report);
  } else {
    printReport(report, true);
  }
  return kExitOk;
}

}  // namespace

Handler setupAnalyze(CLI::App& command, Context& /*context*/) {
  auto options = std::make_shared<AnalyzeOptions>();
  command.add_option("PATH", options->path, "Folder to analyse (default: your home)");
  command.add_option("--limit", options->limit, "Entries to keep, biggest first (default 40)")->type_name("N");
  return [options](Context& context) { return runAnalyze(context, *options); };
}

Handler setupOverview(CLI::App& command, Context& /*context*/) {
  auto options = std::make_shared<AnalyzeOptions>();
  command.add_flag("--skip-protected", options->skipProtected,
                   "Measure only caches, logs, developer data and your applications, never private folders");
  return [options](Context& context) { return runOverview(context, *options); };
}

}  // namespace tidyloom::cli
