// LargeFileScanner::kind: extension lists first, then the platform's type registry, cached per extension.
#include <algorithm>
#include <array>
#include <mutex>
#include <string>
#include <unordered_map>

#include "analysis/large_file_rules.h"
#include "analysis/large_file_scanner.h"
#include "platform/file_kinds.h"

namespace tidyloom {
namespace {

constexpr std::array<std::string_view, 29> kArchiveExtensions{
    "a",   "aar",  "apk", "ipa", "jar",  "war", "xip", "whl",         "zip",         "tar",
    "gz",  "tgz",  "bz2", "tbz", "xz",   "txz", "zst", "lz",          "lz4",         "7z",
    "rar", "cpio", "dmg", "pkg", "mpkg", "iso", "img", "sparseimage", "sparsebundle"};
constexpr std::array<std::string_view, 12> kDocumentExtensions{"doc",   "docx",    "xls", "xlsx", "ppt", "pptx",
                                                               "pages", "numbers", "key", "odt",  "ods", "odp"};

LargeFileKind classify(const std::string& extension) {
  const auto in = [&](const auto& set) { return std::find(set.begin(), set.end(), extension) != set.end(); };
  if (in(kArchiveExtensions)) return LargeFileKind::archive;
  if (in(kDocumentExtensions)) return LargeFileKind::document;
  const auto type = platform::typeConformance(extension);
  if (!type) return LargeFileKind::other;
  if (type->archive) return LargeFileKind::archive;
  if (type->image) return LargeFileKind::image;
  if (type->audio) return LargeFileKind::music;
  if (type->movie) return LargeFileKind::movie;
  if (type->document) return LargeFileKind::document;
  return LargeFileKind::other;
}

}  // namespace

LargeFileKind LargeFileScanner::kind(std::string_view path) {
  const size_t slash = path.find_last_of('/');
  const std::string extension = lowercaseExtension(slash == std::string_view::npos ? path : path.substr(slash + 1));
  if (extension.empty()) return LargeFileKind::other;
  static std::mutex mutex;
  static std::unordered_map<std::string, LargeFileKind> cache;
  {
    std::lock_guard lock(mutex);
    if (const auto found = cache.find(extension); found != cache.end()) return found->second;
  }
  // Classified outside the lock: the first registry read may take a while and answers are stable.
  const LargeFileKind result = classify(extension);
  std::lock_guard lock(mutex);
  cache.emplace(extension, result);
  return result;
}

}  // namespace tidyloom
