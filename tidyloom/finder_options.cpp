// Parsing and checking of the finders' shared options.
#include "finder_options.h"

#include <algorithm>
#include <thread>

#include "analysis/large_file_scanner.h"
#include "l10n/l10n.h"
#include "output.h"

namespace tidyloom::cli {

namespace fs = std::filesystem;

void FinderOptions::addTo(CLI::App& command, const char* defaultMinimum) {
  minimum = defaultMinimum;
  command.add_option("ROOT", root, "Folder to search (default: your home folder)")->type_name("ROOT");
  command.add_option("--min", minimum, std::string("Smallest file size to list (default ") + defaultMinimum + ")")
      ->type_name("SIZE");
  command.add_option("--threads", threads, "Worker threads (default: one per processor)")->type_name("N");
  command.add_flag("--privacy", privacy, "Leave the home Desktop, Documents and Downloads alone");
}

fs::path FinderOptions::scanFolder(const Context& context) const {
  const fs::path home = context.locations().roots.home;
  const fs::path chosen = root.empty() ? LargeFileScanner::scanRoot("/", home) : fs::absolute(root);
  std::error_code error;
  if (!fs::is_directory(chosen, error))
    throw UsageError{L10n::translate("不是文件夹：%@", {printablePath(chosen.string())})};
  const fs::path folder = fs::canonical(chosen, error);
  context.requireInsideFixture(folder);
  return folder;
}

std::uint64_t FinderOptions::minimumBytes() const {
  const auto bytes = parseSize(minimum);
  if (!bytes) throw UsageError{L10n::translate("无法识别的大小：%@（例如 100M、1.5G、512K）", {minimum})};
  return *bytes;
}

int FinderOptions::threadCount() const {
  if (threads == 0) return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1u, 16u));
  if (threads < 1 || threads > 256) {
    throw UsageError{L10n::translate("线程数必须在 1 到 256 之间：%@", {std::to_string(threads)})};
  }
  return threads;
}

}  // namespace tidyloom::cli
