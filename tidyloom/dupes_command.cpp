// tidyloom dupes: sets of identical files, with the copy to keep marked and the space to gain.
#include "analysis/duplicate_file_scanner.h"
#include "analysis/finder_json.h"
#include "commands.h"
#include "finder_options.h"
#include "l10n/l10n.h"
#include "output.h"

namespace tidyloom::cli {
namespace {

void printHuman(const DuplicateScanResult& result) {
  if (result.groups.empty()) {
    std::cout << L10n::translate("没有找到重复的文件。") << "\n";
    return;
  }
  std::uint64_t wasted = 0;
  for (const auto& group : result.groups) {
    wasted += group.wastedBytes();
    std::cout << paint(L10n::translate("%@：%@ 份，每份 %@，可释放 %@",
                                       {printablePath(group.name), std::to_string(group.files.size()),
                                        formatBytes(group.size), formatBytes(group.wastedBytes())}),
                       Colour::bold)
              << "\n";
    for (const auto& file : group.files) {
      const bool keep = &file == &group.files.front();
      const std::string mark = keep ? paint(L10n::translate("保留"), Colour::green) : L10n::translate("副本");
      std::cout << "  " << mark << "  " << printablePath(file.path) << "\n";
    }
  }
  std::cout << L10n::translate("共 %@ 组重复文件，删除多余的副本可释放 %@。",
                               {std::to_string(result.groups.size()), formatBytes(wasted)})
            << "\n";
}

}  // namespace

Handler setupDupes(CLI::App& command, Context& /*context*/) {
  auto options = std::make_shared<FinderOptions>();
  options->addTo(command, "1M");
  return [options](Context& context) {
    const auto root = options->scanFolder(context);
    const DuplicateFileScanner scanner{.home = context.locations().roots.home,
                                       .minimumBytes = options->minimumBytes(),
                                       .threads = options->threadCount(),
                                       .skipsPrivacyProtected = options->privacy};
    auto& progress = context.progress();
    const auto result = scanner.scan(
        root,
        [&](const DuplicateScanProgress& step) {
          if (step.phase == DuplicateScanPhase::searching) {
            progress.update(L10n::translate("正在查找候选文件"), std::nullopt, std::nullopt, step.currentPath);
          } else {
            const double fraction =
                step.totalBytes == 0 ? 1.0
                                     : static_cast<double>(step.comparedBytes) / static_cast<double>(step.totalBytes);
            progress.update(L10n::translate("正在比较内容"), std::nullopt, fraction, step.currentPath);
          }
        },
        [&] { return context.interrupted(); });
    progress.clear();
    const auto now = std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
    if (context.json()) {
      context.printJson(toJson(result, now));
    } else {
      printHuman(result);
      if (!result.groups.empty()) {
        context.note(L10n::translate("要删除副本，请用 tidyloom remove 路径…（默认移到废纸篓）。"));
      }
    }
    if (!result.completed) {
      context.warn(L10n::translate("搜索已中断，结果不完整。"));
      return kExitInterrupted;
    }
    return kExitOk;
  };
}

}  // namespace tidyloom::cli
