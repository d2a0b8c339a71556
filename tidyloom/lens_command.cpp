// tidyloom lens: walk one root with the space lens and list a folder of the index, biggest first.
#include <filesystem>
#include <thread>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "analysis/scan_folder_store.h"
#include "analysis/space_lens_scanner.h"
#include "commands.h"
#include "core/engine_error.h"
#include "l10n/l10n.h"
#include "output.h"
#include "size_bar.h"

namespace tidyloom::cli {
namespace {

constexpr const char* kScanFolderKeyPrefix = "tidyloom.scanFolder";
constexpr const char* kLensFeatureKey = "spaceLens";

struct LensOptions {
  std::string root;
  int depth = 3;
  int threads = 0;
  bool protect = false;
  std::string list;
  int limit = 20;
};

// Symbolic links in what the person typed are resolved once here; the walk itself follows none.
std::string resolvedFolder(const std::string& path) {
  std::error_code ec;
  const auto resolved = std::filesystem::weakly_canonical(std::filesystem::absolute(path), ec);
  return standardisedPath(ec ? std::filesystem::path(path) : resolved);
}

std::string exclusionText(SpaceLensExclusion exclusion) {
  switch (exclusion) {
    case SpaceLensExclusion::cloudOrMedia:
      return L10n::translate("云端或媒体资料库，不计算");
    case SpaceLensExclusion::needsFullDiskAccess:
      return L10n::translate("需要完全磁盘访问权限，不计算");
  }
  return {};
}

void printListing(const SpaceLensListing& listing, const SpaceLensIndex& index) {
  const auto own = index.directories.find(listing.path);
  const auto bytes = own != index.directories.end() ? own->second.bytes : listing.totalSize;
  const auto items = own != index.directories.end() ? own->second.items : 0;
  fmt::print("{}\n", paint(L10n::translate("%@：%@，%@ 项",
                                           {printablePath(listing.path), formatBytes(bytes), std::to_string(items)}),
                           Colour::bold));
  Table table({L10n::translate("大小"), L10n::translate("占比"), "", L10n::translate("名称"), L10n::translate("内容")},
              {Table::Align::right, Table::Align::right, Table::Align::left, Table::Align::left, Table::Align::left});
  for (const auto& item : listing.items) {
    std::string name = printablePath(item.name) + (item.isDir ? "/" : "");
    std::string detail;
    if (item.exclusion) {
      detail = paint(exclusionText(*item.exclusion), Colour::yellow);
    } else if (item.itemCount) {
      detail = L10n::translate("%@ 项", {std::to_string(*item.itemCount)});
    }
    table.add({item.exclusion ? "-" : formatBytes(item.size), sizeShare(item.size, bytes),
               paint(sizeBar(item.size, bytes), Colour::green), name, detail});
  }
  if (!table.empty()) fmt::print("{}", table.render());
  if (listing.omittedCount > 0) {
    fmt::print("{}\n",
               paint(L10n::translate("另有 %@ 项未显示（用 --limit 显示更多）", {std::to_string(listing.omittedCount)}),
                     Colour::dim));
  }
}

nlohmann::json listingJson(const std::optional<SpaceLensListing>& listing) {
  return listing ? nlohmann::json(*listing) : nlohmann::json(nullptr);
}

int run(Context& context, const LensOptions& options) {
  if (options.depth < 1) throw UsageError{L10n::translate("--depth 至少为 1")};
  if (options.threads < 0) throw UsageError{L10n::translate("--threads 至少为 1")};
  if (options.limit < 1) throw UsageError{L10n::translate("--limit 至少为 1")};

  const auto& locations = context.locations();
  // The folder chosen last time is walked again when none is named.
  const ScanFolderStore store(UserDefaults(locations.userDefaultsFile), kScanFolderKeyPrefix);
  std::string root;
  if (!options.root.empty()) {
    root = resolvedFolder(options.root);
  } else if (const auto remembered = store.load(kLensFeatureKey)) {
    root = remembered->string();
    if (!context.json()) context.note(L10n::translate("扫描上次选择的文件夹：%@", {printablePath(root)}));
  } else {
    root = resolvedFolder(locations.isFixture() ? locations.fixtureRoot->string() : "/");
  }
  context.requireInsideFixture(root);
  std::error_code ec;
  if (!std::filesystem::is_directory(root, ec))
    throw UsageError{L10n::translate("不是文件夹：%@", {printablePath(root)})};

  SpaceLensScanner scanner;
  scanner.depth = options.depth;
  scanner.threads =
      options.threads > 0 ? options.threads : static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  scanner.skipsProtected = options.protect;
  scanner.home = locations.roots.home.string();
  scanner.tally = std::make_shared<ScanTally>();

  const std::string listed = options.list.empty() ? root : resolvedFolder(options.list);
  context.requireInsideFixture(listed);
  SpaceLensIndex shape;
  shape.rootPath = root;
  shape.depth = options.depth;
  if (!shape.canList(listed)) {
    throw UsageError{L10n::translate("无法列出 %@：它不在 %@ 之下 %@ 层以内",
                                     {printablePath(listed), printablePath(root), std::to_string(options.depth - 1)})};
  }

  auto& progress = context.progress();
  const std::string label = L10n::translate("正在扫描");
  const auto stop = context.stopToken();
  const auto index = scanner.scan(
      root,
      [&](const SpaceLensProgress& p) {
        progress.update(label + " " + formatBytes(p.scannedBytes), static_cast<std::uint64_t>(p.scannedItems),
                        std::nullopt, printablePath(p.currentPath));
      },
      [&] { return stop.stop_requested(); });
  progress.clear();

  const auto listing = index.listing(listed, options.limit);
  // Remembered only once a walk of it went through (and was listed): an interrupted or refused walk leaves no trace.
  if (!options.root.empty() && index.completed) {
    try {
      store.save(root, kLensFeatureKey);
    } catch (const EngineError&) {
      // Remembering the folder is a convenience; the result stands without it.
    }
  }
  if (context.json()) {
    context.printJson({{"index", index}, {"listing", listingJson(listing)}});
  } else if (listing) {
    printListing(*listing, index);
  }
  if (!index.completed) context.warn(L10n::translate("扫描已中断，结果不完整"));
  if (!listing) {
    context.error(L10n::translate("无法读取文件夹：%@", {printablePath(listed)}));
    return index.completed ? kExitFailure : kExitInterrupted;
  }
  if (!context.json()) {
    context.note(paint(L10n::translate("已扫描 %@ 个文件，共 %@",
                                       {std::to_string(scanner.tally->files()), formatBytes(index.totalSize)}),
                       Colour::dim));
  }
  return index.completed ? kExitOk : kExitInterrupted;
}

}  // namespace

Handler setupLens(CLI::App& command, Context& /*context*/) {
  auto options = std::make_shared<LensOptions>();
  command.add_option("ROOT", options->root, "Folder to walk (default: the one walked last, else /)");
  command.add_option("--depth", options->depth, "Folder levels below ROOT that get their own size (default 3)")
      ->type_name("N");
  command.add_option("--threads", options->threads, "Worker threads (default: one per core)")->type_name("N");
  command.add_flag("--protect", options->protect,
                   "Show privacy-protected folders (Desktop, Documents, Mail...) as excluded instead of walking them");
  command.add_option("--list", options->list, "Folder of the index to list (default: ROOT)")->type_name("PATH");
  command.add_option("--limit", options->limit, "Rows to show (default 20)")->type_name("N");
  return [options](Context& context) { return run(context, *options); };
}

}  // namespace tidyloom::cli
