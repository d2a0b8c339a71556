// CleanEngine: the user-level cleaner. A preview gathers every candidate of the clean feature (the
// rule file's sections and the specialised sources) behind the whitelist and the activity guards;
// a run re-checks each kept path with the source that offers it and removes it.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "clean/activity_gates.h"
#include "clean/clean_records.h"
#include "clean/clean_source.h"
#include "clean/owner_cache_cleaner.h"
#include "clean/scan_rule_config.h"
#include "core/records.h"
#include "core/scan_progress.h"
#include "core/scan_roots.h"
#include "removal/held_files.h"
#include "removal/remover.h"
#include "removal/whitelist_store.h"

namespace tidyloom {

class BrowserCacheScanner;
class SystemCleanHelping;
class TrashContents;

class CleanEngine {
 public:
  using Surface = CleanSurface;
  using Progress = std::function<void(const ScanProgress&)>;
  using RemovalProgress = std::function<void(const RemovalEvent&)>;
  // Removes system paths with administrator rights, re-checking each with the callback first.
  using AdminRemoval =
      std::function<RunReport(const std::vector<std::string>& paths, const Remover::BeforeRemoval& beforeRemoval)>;

  // What an engine is built from. Anything left empty gets its live default.
  struct Setup {
    ScanRoots roots;
    std::filesystem::path whitelistFile;            // whitelist.json
    std::optional<ScanRuleConfig> config;           // default: the catalogue of this machine
    ProcessListing processes;                       // default: the live process list
    std::optional<OwnerCacheCleaner> ownerCleaner;  // default: the installed tools
    std::shared_ptr<SystemCleanHelping> systemHelper;
    AdminRemoval adminRemover;
    TrashRoute trash;                           // default: the platform's Trash
    RemovalMode mode = RemovalMode::permanent;  // caches and logs go for good unless asked
    std::uint64_t largeFileMinimum = 0;         // review threshold; 0 for the default
    bool includesRebuildableCaches = false;
    // Whether this process may remove system paths itself; default: it runs as root.
    std::optional<bool> runsAsRoot;
    // Fixture tree: nothing outside the roots is looked at, nothing runs, no privileged route.
    bool fixture = false;
    // Whether files that running processes hold open are left alone; default: not in a fixture.
    std::optional<bool> checksOpenFiles;
    // The Trashes whose items are offered for emptying; default: every Trash of the user (in a
    // fixture, the fixture's Trash folder).
    std::optional<std::vector<platform::TrashLocation>> trashes;
  };

  explicit CleanEngine(Setup setup);
  // Every other member with its live default configuration.
  CleanEngine(ScanRoots roots, WhitelistStore whitelist, DeveloperCacheActivity activity);
  // An engine for the tree under `dir`, shaped like macOS.
  static CleanEngine fixture(const std::filesystem::path& dir, ScanRuleConfig config);

  ScanRoots roots;
  WhitelistStore whitelist;
  Remover remover;
  DeveloperCacheActivity activity;
  OwnerCacheCleaner ownerCleaner;
  UserCacheOwnership userCacheOwnership;
  ProductProcessActivity productProcessActivity;
  ScanRuleConfig config;
  // The specialised sources in the order their preview phases run.
  std::vector<std::shared_ptr<const CleanSource>> phases;
  // The sources asked, in this order, which one answers for a path in a run.
  std::vector<std::shared_ptr<const CleanSource>> managers;
  // The sources of the review phase.
  std::vector<std::shared_ptr<const CleanSource>> reviewSources;
  std::shared_ptr<const BrowserCacheScanner> browsers;
  std::shared_ptr<const CleanSource> system;
  // The Trashes: emptied item by item, always for good.
  std::shared_ptr<const TrashContents> trashContents;
  AdminRemoval adminRemover;
  std::shared_ptr<SystemCleanHelping> systemHelper;
  RemovalMode mode = RemovalMode::permanent;
  bool fixtureMode = false;
  bool runsAsRoot = false;
  bool checksOpenFiles = true;

  const std::vector<SectionRule>& defaultRules() const { return config.cleanRules; }

  // The preview. `stop` ends it early with what was found, marked interrupted. `tally` (optional)
  // counts the entries visited.
  PreviewReport preview(const std::vector<SectionRule>& rules, const SurfaceSet& surfaces, bool includesReview,
                        const Progress& progress = {}, const CancellationToken& stop = {},
                        const ScanTallyRef& tally = nullptr) const;
  PreviewReport preview() const { return preview(defaultRules(), allSurfaces(), true); }
  // One review row per item in the user's Trashes; a preview of the general surface with review
  // rows includes them.
  std::vector<ReviewItem> trashItems(const CancellationToken& stop = {}, const ScanTallyRef& tally = nullptr) const;
  // Paths of a full preview relative to the home, for dry listings.
  std::vector<std::string> previewRelativePaths() const;

  // Removes the kept paths after re-checking each, and runs the kept tool-cache plans. A stop ends
  // the run after the path in hand; the report then holds what was handled, marked interrupted.
  // Throws EngineError only for the tool-cache mismatch that aborts the whole run.
  RunReport run(const std::vector<std::string>& paths, const std::vector<OwnerCachePlan>& ownerCaches,
                const RemovalProgress& progress = {}, const CancellationToken& stop = {}) const;
  RunReport run(const std::vector<std::string>& paths) const { return run(paths, {}, {}); }

  // Pure classifications.
  static SurfaceSet surfacesOfRule(std::string_view ruleId);
  static Surface surfaceOfRule(std::string_view ruleId, std::string_view path);
  static Surface developerSurface(std::string_view path);
  static bool isNpmResidual(std::string_view path);
  static bool mayHoldDependencies(std::string_view path);
  bool isSystemPath(std::string_view path) const;

  // Whether a running application holds a path.
  enum class Gate { clear, undetermined, held };
  struct AppGate {
    Gate gate = Gate::clear;
    std::vector<std::string> appNames;
    std::vector<std::string> bundleIdentifiers;
  };
  AppGate appGate(const std::string& path) const;
  // The gate folders of the application families that run now.
  std::vector<std::string> pathsHeldByRunningApps(const std::filesystem::path& home) const;

  // The whitelist patterns both preview and run apply: defaults, safety and the user's own.
  std::vector<std::string> whitelistPatterns() const;

  // One look at the running programs, shared by every path of a preview or a run.
  struct GateSnapshot {
    std::map<std::string, ActivityState> products;
    std::map<std::string, ActivityState> developers;
    std::optional<ProcessList> processes;
    HeldFiles openFiles = HeldFiles::none();
  };
  GateSnapshot takeGateSnapshot() const;

 private:
  AppGate appGate(const std::string& path, const GateSnapshot& snapshot) const;
  // The source that answers for `path` in a run; none for a rule path.
  const CleanSource* sourceOf(const std::string& path) const;
  void revalidate(const std::string& path, const GateSnapshot& snapshot, const std::vector<std::string>& ruleSet) const;
  // The Trash's rows that the whitelist leaves.
  std::vector<ReviewItem> trashRows(const SourceScanContext& context) const;
  RunReport emptyTrash(const std::vector<std::string>& paths, const GateSnapshot& snapshot,
                       const RemovalProgress& progress, const CancellationToken& stop) const;
  RunReport removeSystemPaths(const std::vector<std::string>& paths, const GateSnapshot& snapshot,
                              const RemovalProgress& progress, const CancellationToken& stop) const;
};

// The rules without the "trash" section: the Trash is never offered as whole folders, only item by
// item with its records.
std::vector<SectionRule> withoutTrashRule(const std::vector<SectionRule>& rules);

}  // namespace tidyloom
