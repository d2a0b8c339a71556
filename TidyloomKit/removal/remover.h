// Remover: deletes reviewed paths one by one, to the Trash or permanently, behind the protection layer.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/bounded_probe.h"
#include "core/records.h"
#include "core/scan_progress.h"
#include "core/scan_roots.h"
#include "removal/protection_layer.h"
#include "removal/safe_delete.h"
#include "removal/trash_route.h"

namespace tidyloom {

class Remover {
 public:
  using Progress = std::function<void(const RemovalEvent&)>;
  using BeforeRemoval = std::function<void(const std::string& path)>;
  // Asks the file browser to move an application bundle to the Trash (macOS Finder); returns the
  // runner's result. Empty where there is no such route.
  using FinderRoute = std::function<BoundedProbe::Result(const std::string& path)>;

  ProtectionLayer protection;
  // Called synchronously on the caller's thread for every path.
  Progress progress;
  // Trash mode's destination; the platform's Trash unless a front end supplies another.
  TrashRoute trash = systemTrash();
  FinderRoute finderRoute = defaultFinderRoute();
  // The folder whose direct application bundles may take the Finder route.
  std::string applicationsFolder = "/Applications";
  // The operation's cancellation token, looked at before each path and after each failure.
  CancellationToken cancellation;
  // Credited with each file measured.
  ScanTallyRef tally;
  // Identities recorded when the paths were checked (by another process, for one): a path found
  // with another identity now is refused as replaced, never removed.
  std::map<std::string, ItemIdentity> expectedIdentities;
  // Judges the path the held handle names (where the item really is), right after the protection
  // check; what it throws fails that path. The root daemon checks there that the item still lies
  // in a section it serves, whatever an ancestor was swapped for.
  std::function<void(const std::string& resolvedPath)> resolvedCheck;

  // Removes `paths` in order. A path already gone counts as done but is not reported; a refused
  // or failed path is one entry in `failed` and the run goes on unless `stopOnFailure`.
  // `beforeRemoval` re-validates a path just before it is removed; what it throws fails that path.
  // A stop requested through `cancellation` lets the path in hand finish; the report then holds the
  // paths handled so far and is marked interrupted. Never throws.
  RunReport remove(const std::vector<std::string>& paths, RemovalMode mode, const ScanRoots& roots, RemovalScope scope,
                   bool stopOnFailure, const BeforeRemoval& beforeRemoval = {}) const;

  // Runs osascript to have Finder delete `path`, bounded to 30 seconds.
  static BoundedProbe::Result trashApplicationViaFinder(const std::string& path);
  static FinderRoute defaultFinderRoute();

 private:
  // Where the item went in trash mode; nothing when deleted, or moved by the file browser.
  std::optional<TrashedItem> removeOne(const std::string& path, const OpenedItem& item, RemovalMode mode,
                                       std::uint64_t size, const std::filesystem::path& home) const;
  void emit(const RemovalEvent& event) const {
    if (progress) progress(event);
  }
};

}  // namespace tidyloom
