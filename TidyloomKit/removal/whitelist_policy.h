// WhitelistPolicy: the built-in default and safety patterns, expansion of user patterns, and matching.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "core/scan_progress.h"

namespace tidyloom {

// Whitelist patterns with the link-resolved spelling of each one's folder worked out once, so that
// judging many paths resolves every pattern once instead of once per path. Built from the plain
// list where one is given (on purpose implicitly): hold one to judge many paths.
class CompiledWhitelist {
 public:
  CompiledWhitelist(const std::vector<std::string>& patterns);    // NOLINT(google-explicit-constructor)
  CompiledWhitelist(std::initializer_list<std::string> patterns)  // NOLINT(google-explicit-constructor)
      : CompiledWhitelist(std::vector<std::string>(patterns)) {}
  // Every pattern (without a trailing "/") and its resolved spelling, each once.
  const std::vector<std::string>& variants() const { return variants_; }

 private:
  std::vector<std::string> variants_;
};

struct WhitelistPolicy {
  // Patterns used only when the user has no whitelist file, joined to `home`.
  static std::vector<std::string> defaults(const std::string& home);
  // Patterns always in force whatever the user's file says, joined to `home`.
  static std::vector<std::string> safety(const std::string& home);

  // Trims each pattern, drops blanks and "#" comments, expands "${HOME}", "$HOME" and a leading
  // "~" to `home`, and keeps the first of any duplicates (order preserved).
  static std::vector<std::string> expand(const std::vector<std::string>& patterns, const std::string& home);

  // The pattern itself and, when its directory part resolves through symbolic links to another
  // text, the same pattern on the resolved directory.
  static std::vector<std::string> patternVariants(const std::string& pattern);

  // True when `path` (as given or with links resolved) matches a pattern with fnmatch and no flags
  // (so "*" also crosses "/"); with `includeDescendants`, anything below a pattern matches too.
  static bool protects(const std::string& path, const CompiledWhitelist& patterns, bool includeDescendants);

  // True when some path strictly below `folder` could match a pattern, judged on the text alone
  // ("*" crosses "/", so "~/Caches/*/keep.db" may match anywhere below "~/Caches/app").
  static bool mayProtectBelow(const std::string& folder, const CompiledWhitelist& patterns);

  // True when an entry below `folder` is protected. The folder is walked (links are never gone
  // through) only where a pattern could still match; a folder that cannot be listed there counts as
  // holding protected content, and so does a stop before the walk finished.
  static bool protectsContentOf(const std::string& folder, const CompiledWhitelist& patterns,
                                const CancellationToken& stop = {});
};

}  // namespace tidyloom
