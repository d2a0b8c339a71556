// tidyloom large: the biggest files under a folder, grouped by size band, age band and kind.
#include <map>

#include "analysis/finder_json.h"
#include "analysis/large_file_scanner.h"
#include "commands.h"
#include "finder_options.h"
#include "l10n/l10n.h"
#include "output.h"

namespace tidyloom::cli {
namespace {

struct LargeOptions {
  FinderOptions finder;
  bool packages = false;
};

struct Tally {
  std::uint64_t count = 0;
  std::uint64_t bytes = 0;
};

template <class Key>
std::string summary(const std::map<Key, Tally>& tallies) {
  std::string line;
  for (const auto& [key, tally] : tallies) {
    if (!line.empty()) line += " · ";
    line += L10n::translate("%@ %@ 个（%@）", {title(key), std::to_string(tally.count), formatBytes(tally.bytes)});
  }
  return line;
}

void printHuman(const LargeFileScanResult& result, FileTime now) {
  if (result.items.empty()) {
    std::cout << L10n::translate("没有找到达到大小下限的文件。") << "\n";
    return;
  }
  std::map<LargeFileSizeBand, std::vector<const LargeFileItem*>> bands;
  std::map<LargeFileAgeBand, Tally> ages;
  std::map<LargeFileKind, Tally> kinds;
  std::uint64_t total = 0;
  for (const auto& item : result.items) {
    bands[item.sizeBand()].push_back(&item);
    auto& age = ages[item.ageBand(now)];
    auto& kind = kinds[item.kind];
    ++age.count, ++kind.count;
    age.bytes += item.size, kind.bytes += item.size;
    total += item.size;
  }
  for (const auto& [band, items] : bands) {
    std::uint64_t bytes = 0;
    for (const auto* item : items) bytes += item->size;
    std::cout << paint(L10n::translate("%@：%@ 个文件，%@",
                                       {title(band), std::to_string(items.size()), formatBytes(bytes)}),
                       Colour::bold)
              << "\n";
    Table table(
        {L10n::translate("大小"), L10n::translate("上次使用"), L10n::translate("类型"), L10n::translate("文件")},
        {Table::Align::right, Table::Align::left, Table::Align::left, Table::Align::left});
    for (const auto* item : items) {
      const std::string kind = item->isPackage ? L10n::translate("%@（包）", {title(item->kind)}) : title(item->kind);
      table.add({formatBytes(item->size), title(item->ageBand(now)), kind, printablePath(item->path)});
    }
    std::cout << table.render() << "\n";
  }
  std::cout << L10n::translate("按上次使用：%@", {summary(ages)}) << "\n";
  std::cout << L10n::translate("按类型：%@", {summary(kinds)}) << "\n";
  std::cout << L10n::translate("共 %@ 个文件，%@。", {std::to_string(result.items.size()), formatBytes(total)}) << "\n";
}

}  // namespace

Handler setupLarge(CLI::App& command, Context& /*context*/) {
  auto options = std::make_shared<LargeOptions>();
  options->finder.addTo(command, "100M");
  command.add_flag("--packages", options->packages, "List document packages (bundles) as single items");
  return [options](Context& context) {
    const auto root = options->finder.scanFolder(context);
    const LargeFileScanner scanner{.home = context.locations().roots.home,
                                   .minimumBytes = options->finder.minimumBytes(),
                                   .threads = options->finder.threadCount(),
                                   .listsPackages = options->packages,
                                   .skipsPrivacyProtected = options->finder.privacy};
    auto& progress = context.progress();
    const auto result = scanner.scan(
        root,
        [&](const LargeFileScanProgress& step) {
          progress.update(L10n::translate("正在查找大文件"), static_cast<std::uint64_t>(step.foundCount), std::nullopt,
                          step.currentPath);
        },
        [&] { return context.interrupted(); });
    progress.clear();
    const auto now = std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
    if (context.json()) {
      context.printJson(toJson(result, now));
    } else {
      printHuman(result, now);
      if (!result.items.empty())
        context.note(L10n::translate("要删除文件，请用 tidyloom remove 路径…（默认移到废纸篓）。"));
    }
    if (!result.completed) {
      context.warn(L10n::translate("搜索已中断，结果不完整。"));
      return kExitInterrupted;
    }
    return kExitOk;
  };
}

}  // namespace tidyloom::cli
