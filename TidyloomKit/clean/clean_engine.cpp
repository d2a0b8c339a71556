// CleanEngine: construction of its sources, the preview, and the application gate.
#include "clean/clean_engine.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <thread>

#include "clean/age_gated_caches.h"
#include "clean/browser_cache_scanner.h"
#include "clean/clean_catalog.h"
#include "clean/device_firmware_scanner.h"
#include "clean/large_file_review_scanner.h"
#include "clean/mail_downloads_scanner.h"
#include "clean/npm_residual_caches.h"
#include "clean/rule_paths.h"
#include "clean/surface_classification.h"
#include "clean/system_clean_source.h"
#include "clean/trash_contents.h"
#include "core/engine_error.h"
#include "core/locations.h"
#include "l10n/l10n.h"
#include "platform/user_dirs.h"
#include "removal/file_measure.h"
#include "removal/protection_layer.h"
#include "removal/whitelist_policy.h"

namespace tidyloom {
namespace {

template <typename Family>
std::vector<FamilyGates::Gate> rawGates(const std::vector<ActivityGate<typename Family::Family>>& gates) {
  std::vector<FamilyGates::Gate> out;
  for (const auto& gate : gates) out.emplace_back(std::string(Family::rawValue(gate.family)), gate.paths);
  return out;
}

WhitelistStore storeFor(const CleanEngine::Setup& setup) {
  if (!setup.whitelistFile.empty()) return WhitelistStore(setup.whitelistFile);
  return WhitelistStore::inFolder(platform::applicationSupportDirectory(setup.roots.home));
}

// Sizes of many paths, measured on a few threads: the preview's cost is mostly this walk.
std::vector<std::uint64_t> measureAll(const std::vector<std::string>& paths, const ScanTallyRef& tally,
                                      const CancellationToken& stop) {
  std::vector<std::uint64_t> sizes(paths.size(), 0);
  std::atomic<size_t> next{0};
  const auto work = [&] {
    for (size_t i = next++; i < paths.size() && !stop.stop_requested(); i = next++) {
      sizes[i] = FileMeasure::byteSize(paths[i], tally);
    }
  };
  const size_t threads = std::min<size_t>(std::max(2u, std::thread::hardware_concurrency()), 4);
  std::vector<std::thread> workers;
  for (size_t i = 1; i < std::min(threads, paths.size()); ++i) workers.emplace_back(work);
  work();
  for (auto& worker : workers) worker.join();
  return sizes;
}

// The rule phases, each with its progress label: developer tools, logs, package managers, then
// the general caches. A phase takes the rules (and, for "devCaches", the surfaces) that are its own.
struct RulePhase {
  std::string_view label;
  SurfaceSet surfaces;
};

std::vector<RulePhase> rulePhases(const SurfaceSet& requested) {
  const auto only = [&](SurfaceSet surfaces) {
    std::erase_if(surfaces, [&](CleanSurface surface) { return !requested.contains(surface); });
    return surfaces;
  };
  return {
      {"开发工具缓存（Xcode、编辑器、构建工具）", only({CleanSurface::developer, CleanSurface::simulators})},
      {"Library/Logs", only({CleanSurface::logs})},
      {"包管理器缓存（npm、pnpm、Go、uv、pip 等）", only({CleanSurface::dependencies})},
      {"Library/Caches", only({CleanSurface::general})},
  };
}

}  // namespace

CleanEngine::CleanEngine(Setup setup)
    : roots(setup.roots),
      whitelist(storeFor(setup)),
      activity({}, idleProcessListing()),
      ownerCleaner(setup.ownerCleaner
                       ? *setup.ownerCleaner
                       : (setup.fixture ? OwnerCacheCleaner::none() : OwnerCacheCleaner::live(setup.roots.home))),
      userCacheOwnership(roots.home, idleProcessListing()),
      productProcessActivity({}, idleProcessListing()),
      config(setup.config ? *setup.config : CleanCatalog::config()),
      adminRemover(setup.fixture ? AdminRemoval{} : setup.adminRemover),
      systemHelper(setup.fixture ? nullptr : setup.systemHelper),
      mode(setup.mode),
      fixtureMode(setup.fixture),
      runsAsRoot(setup.runsAsRoot.value_or(::geteuid() == 0)),
      checksOpenFiles(setup.checksOpenFiles.value_or(!setup.fixture)) {
  const ProcessListing processes =
      setup.processes ? setup.processes : (setup.fixture ? idleProcessListing() : liveProcessListing());
  activity = DeveloperCacheActivity(rawGates<DeveloperCacheActivity>(config.developerGates), processes);
  productProcessActivity = ProductProcessActivity(rawGates<ProductProcessActivity>(config.productGates), processes);
  userCacheOwnership = UserCacheOwnership::fromEnvironment(roots.home, processes);
  if (setup.fixture) remover.protection = ProtectionLayer::forFixture(roots.home);
  if (setup.trash) remover.trash = setup.trash;

  const auto& home = roots.home;
  auto ageGated = std::make_shared<AgeGatedCaches>(home, config.ageGatedCaches);
  auto npm = std::make_shared<NpmResidualCaches>(home);
  auto mail =
      std::make_shared<MailDownloadsScanner>(MailDownloadsScanner::fromEnvironment(home, config.mailDownloadRoots));
  auto firmware = std::make_shared<DeviceFirmwareScanner>(home, config.deviceFirmwareRoots);
  auto browserCaches = std::make_shared<BrowserCacheScanner>(home, config.browserCaches.profileRoots,
                                                             config.browserCaches.selectiveContainers,
                                                             config.browserCaches.cacheLeafNames);
  auto largeFiles = std::make_shared<LargeFileReviewScanner>(
      home, setup.largeFileMinimum > 0 ? setup.largeFileMinimum : LargeFileReviewScanner::kDefaultMinimumBytes);
  auto systemPhase = std::make_shared<SystemCleanSource>(
      SystemCleanScanner(roots, 7, setup.fixture ? SystemScanNames::macOS() : SystemScanNames::forHost()), systemHelper,
      setup.includesRebuildableCaches, runsAsRoot);
  std::vector<platform::TrashLocation> trashes;
  if (setup.trashes) {
    trashes = *setup.trashes;
  } else if (setup.fixture) {
    trashes = {platform::trashLocationOf(Locations::fixture(roots.home).fixtureTrash.value())};
  } else {
    trashes = platform::userTrashes(roots.home);
  }
  auto trashSource = std::make_shared<TrashContents>(std::move(trashes));
  browsers = browserCaches;
  system = systemPhase;
  trashContents = trashSource;
  phases = {ageGated, npm, mail, firmware, browserCaches, systemPhase};
  managers = {trashSource, ageGated, mail, firmware, npm, browserCaches, largeFiles, systemPhase};
  reviewSources = {largeFiles};
}

namespace {

CleanEngine::Setup liveSetup(ScanRoots roots, const WhitelistStore& whitelist) {
  CleanEngine::Setup setup;
  setup.roots = std::move(roots);
  setup.whitelistFile = whitelist.fileURL;
  return setup;
}

}  // namespace

CleanEngine::CleanEngine(ScanRoots roots, WhitelistStore whitelist, DeveloperCacheActivity activity)
    : CleanEngine(liveSetup(std::move(roots), whitelist)) {
  this->activity = std::move(activity);
}

CleanEngine CleanEngine::fixture(const std::filesystem::path& dir, ScanRuleConfig config) {
  const auto locations = Locations::fixture(dir);
  Setup setup;
  setup.roots = locations.roots;
  setup.whitelistFile = locations.applicationSupport / "whitelist.json";
  setup.config = std::move(config);
  setup.trash = folderTrash(*locations.fixtureTrash);
  setup.fixture = true;
  return CleanEngine(std::move(setup));
}

std::vector<std::string> CleanEngine::whitelistPatterns() const {
  const std::string home = roots.home.string();
  auto patterns = WhitelistPolicy::defaults(home);
  for (auto& pattern : WhitelistPolicy::safety(home)) patterns.push_back(std::move(pattern));
  for (auto& pattern : WhitelistPolicy::expand(whitelist.load(), home)) patterns.push_back(std::move(pattern));
  return patterns;
}

SurfaceSet CleanEngine::surfacesOfRule(std::string_view ruleId) { return tidyloom::surfacesOfRule(ruleId); }
CleanSurface CleanEngine::surfaceOfRule(std::string_view ruleId, std::string_view path) {
  return tidyloom::surfaceOfRule(ruleId, path);
}
CleanSurface CleanEngine::developerSurface(std::string_view path) { return tidyloom::developerSurface(path); }
bool CleanEngine::isNpmResidual(std::string_view path) { return tidyloom::isNpmResidual(path); }
bool CleanEngine::mayHoldDependencies(std::string_view path) { return tidyloom::mayHoldDependencies(path); }
bool CleanEngine::isSystemPath(std::string_view path) const { return tidyloom::isSystemPath(path, roots); }

CleanEngine::GateSnapshot CleanEngine::takeGateSnapshot() const {
  return GateSnapshot{productProcessActivity.states(), activity.states(), userCacheOwnership.processes(),
                      checksOpenFiles ? HeldFiles::live() : HeldFiles::none()};
}

CleanEngine::AppGate CleanEngine::appGate(const std::string& path) const { return appGate(path, takeGateSnapshot()); }

CleanEngine::AppGate CleanEngine::appGate(const std::string& path, const GateSnapshot& snapshot) const {
  if (const auto family = productProcessActivity.family(path, roots.home)) {
    const auto state = snapshot.products.find(*family);
    const auto* signature = productProcessActivity.signature(*family);
    if (state == snapshot.products.end() || signature == nullptr) return {Gate::undetermined, {}, {}};
    switch (state->second) {
      case ActivityState::idle:
        return {};
      case ActivityState::unknown:
        return {Gate::undetermined, {}, {}};
      case ActivityState::active:
        return {Gate::held,
                {L10n::translate(signature->displayName)},
                std::vector<std::string>(signature->bundleIdentifiers.begin(), signature->bundleIdentifiers.end())};
    }
  }
  if (const auto owner = userCacheOwnership.owner(path)) {
    const auto state = userCacheOwnership.state(*owner, snapshot.processes);
    if (state.activity == ActivityState::unknown) return {Gate::undetermined, {}, {}};
    if (state.activity == ActivityState::active) {
      std::vector<std::string> identifiers;
      if (owner->name.find('.') != std::string::npos) identifiers.push_back(owner->name);
      return {Gate::held, state.appNames, identifiers};
    }
  }
  return {};
}

std::vector<std::string> CleanEngine::pathsHeldByRunningApps(const std::filesystem::path& home) const {
  std::vector<std::string> held;
  const auto states = productProcessActivity.states();
  for (const auto& gate : config.productGates) {
    const auto state = states.find(std::string(ProductProcessActivity::rawValue(gate.family)));
    if (state == states.end() || state->second != ActivityState::active) continue;
    for (const auto& path : gate.paths) held.push_back((home / path).lexically_normal().string());
  }
  return held;
}

PreviewReport CleanEngine::preview(const std::vector<SectionRule>& rules, const SurfaceSet& surfaces,
                                   bool includesReview, const Progress& progress, const CancellationToken& stop,
                                   const ScanTallyRef& givenTally) const {
  const ScanTallyRef tally = givenTally ? givenTally : std::make_shared<ScanTally>();
  const size_t steps = phases.size() + 4;
  size_t step = 0;
  const auto report = [&](std::string_view label) {
    if (progress) {
      progress(ScanProgress{L10n::translate(label), static_cast<double>(step) / static_cast<double>(steps),
                            static_cast<std::int64_t>(tally->files())});
    }
  };

  PreviewReport preview;
  // 1. The whitelist patterns.
  const auto patterns = whitelistPatterns();
  const CompiledWhitelist compiled(patterns);
  const auto allowed = [&](const std::string& path) {
    return !WhitelistPolicy::protects(path, compiled, true) && !WhitelistPolicy::protectsContentOf(path, compiled) &&
           !(browsers && browsers->selectiveContainerRefusal(path));
  };
  std::vector<CleanupCandidate> found;
  std::vector<ReviewItem> incompleteParts;
  // One look at the running programs and their open files for the whole preview.
  const auto snapshot = takeGateSnapshot();

  // 2. The rule phases. The Trash is emptied item by item through its own rows, never as a folder.
  const auto offeredRules = withoutTrashRule(rules);
  std::vector<RulePath> named;
  for (const auto& phase : rulePhases(surfaces)) {
    if (phase.surfaces.empty() || stop.stop_requested()) continue;
    report(phase.label);
    for (auto& entry : rulePaths(offeredRules, phase.surfaces, roots.home, patterns, stop, fixtureMode)) {
      named.push_back(std::move(entry));
    }
  }
  std::vector<std::string> namedPaths;
  for (const auto& entry : named) namedPaths.push_back(entry.path);
  const auto sizes = measureAll(namedPaths, tally, stop);
  for (size_t i = 0; i < named.size(); ++i) {
    if (sizes[i] > 0 && allowed(named[i].path)) found.push_back({named[i].path, named[i].ruleId, sizes[i], true});
  }
  ++step;

  // 3. Tool caches cleaned by their own command.
  if (!stop.stop_requested() &&
      (surfaces.contains(CleanSurface::dependencies) || surfaces.contains(CleanSurface::developer))) {
    const auto free = [&](const std::string& path) {
      return snapshot.openFiles.check(path).state == platform::OpenState::closed;
    };
    for (auto& plan : ownerCleaner.inventory()) {
      // A tool's own command deletes what it likes: a cache a program is using is left for later.
      if (std::all_of(plan.paths.begin(), plan.paths.end(), allowed) &&
          std::all_of(plan.paths.begin(), plan.paths.end(), free)) {
        preview.ownerCaches.push_back(std::move(plan));
      }
    }
  }
  ++step;

  // A cache that its tool cleans with its own command is not offered a second time as files.
  const auto coveredByTool = [&](const std::string& path) {
    for (const auto& plan : preview.ownerCaches) {
      for (const auto& cache : plan.paths) {
        if (isUnder(path, cache)) return true;
      }
    }
    return false;
  };
  std::erase_if(found, [&](const CleanupCandidate& candidate) { return coveredByTool(candidate.path); });

  // 4. The specialised phases.
  const SourceScanContext context{roots, stop, tally, patterns};
  for (const auto& source : phases) {
    ++step;
    if (stop.stop_requested()) break;
    if (!surfaces.contains(source->surfaceGate())) continue;
    report(source->phaseLabel());
    auto findings = source->scan(context);
    for (auto& part : findings.incomplete) incompleteParts.push_back(std::move(part));
    for (auto& candidate : findings.candidates) {
      if (allowed(candidate.path) && !coveredByTool(candidate.path)) found.push_back(std::move(candidate));
    }
    // A bare path that overlaps what was already found would be walked a second time for nothing.
    const auto overlapsFound = [&](const std::string& path) {
      return std::any_of(found.begin(), found.end(), [&](const CleanupCandidate& candidate) {
        return isUnder(path, candidate.path) || isUnder(candidate.path, path);
      });
    };
    std::vector<std::string> bare;
    for (auto& path : findings.paths) {
      if (allowed(path) && !coveredByTool(path) && !overlapsFound(path)) bare.push_back(std::move(path));
    }
    const auto bareSizes = measureAll(bare, tally, stop);
    for (size_t i = 0; i < bare.size(); ++i) {
      if (bareSizes[i] > 0) found.push_back({bare[i], "devCaches", bareSizes[i], true});
    }
  }

  // One candidate per path, and none inside another (it would go with its folder).
  std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.path < b.path; });
  std::vector<CleanupCandidate> unique;
  for (auto& candidate : found) {
    if (!unique.empty() && (unique.back().path == candidate.path ||
                            std::string_view(candidate.path).starts_with(unique.back().path + "/"))) {
      continue;
    }
    unique.push_back(std::move(candidate));
  }

  // 5. The guards: developer tools in use, then the application gate.
  for (auto& candidate : unique) {
    if (activity.blockReason(candidate.path, roots.home, snapshot.developers)) continue;
    // One source answers for a path in a run: what it would refuse (a crash report too recent for
    // the age-gated source, offered by a rule as well) is not offered.
    if (const auto* source = sourceOf(candidate.path)) {
      try {
        source->assertRemovableNow(candidate.path);
      } catch (const EngineError&) {
        continue;
      }
    }
    auto gate = appGate(candidate.path, snapshot);
    // A file a running program has open (a log being written, a cache in use) stays.
    if (gate.gate == Gate::clear) {
      auto open = snapshot.openFiles.check(candidate.path);
      if (open.state == platform::OpenState::unknown) continue;
      if (open.state == platform::OpenState::held) {
        gate.gate = Gate::held;
        gate.appNames = open.processNames.empty() ? std::vector<std::string>{L10n::translate("运行中的程序")}
                                                  : std::move(open.processNames);
      }
    }
    if (gate.gate == Gate::clear) {
      preview.candidates.push_back(std::move(candidate));
    } else if (gate.gate == Gate::held) {
      preview.appHeld.push_back({std::move(candidate), std::move(gate.appNames), std::move(gate.bundleIdentifiers)});
    }
  }
  // 6. Sorted by path (already so, kept stable for clarity of intent).
  std::stable_sort(preview.candidates.begin(), preview.candidates.end(),
                   [](const auto& a, const auto& b) { return a.path < b.path; });
  std::stable_sort(preview.appHeld.begin(), preview.appHeld.end(),
                   [](const auto& a, const auto& b) { return a.candidate.path < b.candidate.path; });

  // 7. The review phase.
  ++step;
  if (includesReview && !stop.stop_requested()) {
    report("大型备份与开发数据复核");
    for (const auto& source : reviewSources) {
      for (auto& item : source->reviewItems(context)) {
        if (allowed(item.path)) preview.reviewItems.push_back(std::move(item));
      }
    }
    if (surfaces.contains(CleanSurface::general)) {
      for (auto& item : trashRows(context)) preview.reviewItems.push_back(std::move(item));
    }
  }
  for (auto& part : incompleteParts) preview.reviewItems.push_back(std::move(part));
  preview.interrupted = stop.stop_requested();
  return preview;
}

std::vector<ReviewItem> CleanEngine::trashItems(const CancellationToken& stop, const ScanTallyRef& tally) const {
  const auto patterns = whitelistPatterns();
  return trashRows(SourceScanContext{roots, stop, tally ? tally : std::make_shared<ScanTally>(), patterns});
}

std::vector<ReviewItem> CleanEngine::trashRows(const SourceScanContext& context) const {
  auto items = trashContents->reviewItems(context);
  const CompiledWhitelist compiled(context.whitelist);
  std::erase_if(items, [&](const ReviewItem& item) {
    return WhitelistPolicy::protects(item.path, compiled, true) ||
           WhitelistPolicy::protectsContentOf(item.path, compiled);
  });
  return items;
}

std::vector<SectionRule> withoutTrashRule(const std::vector<SectionRule>& rules) {
  std::vector<SectionRule> kept;
  std::copy_if(rules.begin(), rules.end(), std::back_inserter(kept),
               [](const SectionRule& rule) { return rule.id != "trash"; });
  return kept;
}

std::vector<std::string> CleanEngine::previewRelativePaths() const {
  const auto full = preview();
  std::vector<std::string> relative;
  const auto add = [&](const std::string& path) {
    relative.push_back(std::filesystem::path(path).lexically_relative(roots.home).string());
  };
  for (const auto& candidate : full.candidates) add(candidate.path);
  for (const auto& item : full.reviewItems) add(item.path);
  return relative;
}

}  // namespace tidyloom
