// Mail downloads: entries of the mail download folders left untouched for a while.
#include "clean/mail_downloads_scanner.h"

#include <cstdlib>

#include "clean/source_walk.h"
#include "core/engine_error.h"
#include "l10n/l10n.h"
#include "removal/file_measure.h"

namespace tidyloom {
namespace {

std::int64_t numberFromEnvironment(const char* name, std::int64_t fallback) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0') return fallback;
  char* end = nullptr;
  const long long parsed = std::strtoll(value, &end, 10);
  return (*end == '\0' && parsed >= 0) ? parsed : fallback;
}

// The newest modification inside an item: an attachment folder counts as touched when any file in
// it was.
std::int64_t newestModification(const std::filesystem::path& path, std::int64_t own) {
  std::int64_t newest = own;
  walkFiles(path, 4, {}, nullptr, [&](const std::filesystem::path&, const EntryFacts& facts, int) {
    newest = std::max(newest, facts.modified);
  });
  return newest;
}

}  // namespace

MailDownloadsScanner MailDownloadsScanner::fromEnvironment(std::filesystem::path home,
                                                           std::vector<std::string> relativeRoots) {
  return MailDownloadsScanner(
      std::move(home), std::move(relativeRoots), numberFromEnvironment("QUILL_MAIL_AGE_DAYS", 30),
      static_cast<std::uint64_t>(numberFromEnvironment("QUILL_MAIL_DOWNLOADS_MIN_KB", 0)) * 1024);
}

bool MailDownloadsScanner::oldEnough(const std::filesystem::path& path) const {
  const auto facts = entryFacts(path);
  if (!facts || facts->link || (!facts->directory && !facts->regular)) return false;
  const auto newest = facts->directory ? newestModification(path, facts->modified) : facts->modified;
  return olderThanDays(newest, ageDays_, epochSecondsNow());
}

SourceFindings MailDownloadsScanner::scan(const SourceScanContext& context) const {
  SourceFindings findings;
  for (const auto& root : roots_) {
    const auto folder = home_ / root;
    const auto rootFacts = entryFacts(folder);
    if (!rootFacts || !rootFacts->directory) continue;
    for (const auto& name : childNames(folder)) {
      if (context.stop.stop_requested()) return findings;
      if (name.starts_with('.')) continue;
      const auto path = folder / name;
      if (context.tally) context.tally->add();
      if (!oldEnough(path)) continue;
      const auto size = FileMeasure::byteSize(path, context.tally);
      if (size > 0 && size >= minimumBytes_)
        findings.candidates.push_back({path.string(), "mailDownloads", size, true});
    }
  }
  return findings;
}

const std::string* MailDownloadsScanner::rootOf(const std::filesystem::path& path) const {
  for (const auto& root : roots_) {
    if (depthBelow(path, home_ / root) == 1) return &root;
  }
  return nullptr;
}

bool MailDownloadsScanner::manages(const std::string& path) const { return rootOf(path) != nullptr; }

void MailDownloadsScanner::assertRemovableNow(const std::string& path) const {
  const std::string* root = rootOf(path);
  if (root == nullptr || std::filesystem::path(path).filename().string().starts_with('.') ||
      !noLinkBetween(home_ / *root, path) || !oldEnough(path)) {
    throw EngineError::protection(L10n::translate("邮件附件已更新或不再符合清理条件，请重新扫描"));
  }
}

}  // namespace tidyloom
