// Fuzz target: the small JSON stores read back whatever bytes their files hold (history, usage
// statistics, undo records, whitelist, settings). Reading never fails; only writing may throw.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "core/user_defaults.h"
#include "history/history_store.h"
#include "history/undo_store.h"
#include "history/usage_stats_store.h"
#include "removal/trash_put_back.h"
#include "removal/whitelist_policy.h"
#include "removal/whitelist_store.h"

using namespace tidyloom;
namespace fs = std::filesystem;

namespace {

const fs::path& scratch() {
  static const fs::path folder = [] {
    char pattern[] = "/tmp/tidyloom-fuzz-stores-XXXXXX";
    return fs::path(::mkdtemp(pattern));
  }();
  return folder;
}

fs::path holding(const std::string& name, std::string_view bytes) {
  const fs::path file = scratch() / name;
  std::ofstream(file, std::ios::binary | std::ios::trunc)
      .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  switch (data[0] % 5) {
    case 0:
      (void)HistoryStore::decode(std::string(bytes));
      break;
    case 1: {
      const HistoryStore history(holding("history.json", "[]"));
      const UsageStatsStore stats(holding("usage-stats.json", bytes), history);
      (void)stats.load(HistoryTimestamp{});
      break;
    }
    case 2: {
      const WhitelistStore store(holding("whitelist.json", bytes));
      const auto patterns = store.effectivePatterns("/home/fuzz");
      (void)WhitelistPolicy::protects("/home/fuzz/Library/Caches/x", patterns, true);
      (void)store.contains("/home/fuzz/a");
      break;
    }
    case 3:
      // Whatever a record says, asking whether its items are still in a Trash only looks.
      for (const auto& record : UndoStore(holding("undo.json", bytes)).load()) {
        for (const auto& item : record.items) (void)PutBack::stillTrashed(item);
      }
      break;
    default:
      (void)UserDefaults(holding("settings.json", bytes)).string("tidyloom.language");
      break;
  }
  return 0;
}
