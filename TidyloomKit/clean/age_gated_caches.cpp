// Age-gated caches: old files under the rule file's roots.
#include "clean/age_gated_caches.h"

#include "clean/source_walk.h"
#include "core/engine_error.h"
#include "l10n/l10n.h"
#include "removal/file_measure.h"

namespace tidyloom {

bool AgeGatedCaches::qualifies(const Rule& rule, const std::filesystem::path& path, std::int64_t modified) const {
  if (rule.fileSuffix && !path.filename().string().ends_with(*rule.fileSuffix)) return false;
  return olderThanDays(modified, rule.ageDays, epochSecondsNow());
}

SourceFindings AgeGatedCaches::scan(const SourceScanContext& context) const {
  SourceFindings findings;
  for (const auto& rule : rules_) {
    walkFiles(home_ / rule.relativeRoot, static_cast<int>(rule.maxDepth), context.stop, context.tally,
              [&](const std::filesystem::path& path, const EntryFacts& facts, int) {
                if (!qualifies(rule, path, facts.modified)) return;
                const auto size = FileMeasure::byteSize(path, context.tally);
                if (size > 0) findings.candidates.push_back({path.string(), rule.section, size, true});
              });
  }
  return findings;
}

const AgeGatedCaches::Rule* AgeGatedCaches::ruleFor(const std::filesystem::path& path) const {
  for (const auto& rule : rules_) {
    const auto depth = depthBelow(path, home_ / rule.relativeRoot);
    if (depth && *depth <= rule.maxDepth) return &rule;
  }
  return nullptr;
}

bool AgeGatedCaches::manages(const std::string& path) const { return ruleFor(path) != nullptr; }

void AgeGatedCaches::assertRemovableNow(const std::string& path) const {
  const Rule* rule = ruleFor(path);
  const auto facts = entryFacts(path);
  const bool stillOffered = rule != nullptr && facts && facts->regular && !path.empty() &&
                            std::filesystem::path(path).filename().string().front() != '.' &&
                            noLinkBetween(home_ / rule->relativeRoot, path) && qualifies(*rule, path, facts->modified);
  if (!stillOffered) throw EngineError::protection(L10n::translate("文件已更新或不再符合清理条件，请重新扫描"));
}

}  // namespace tidyloom
