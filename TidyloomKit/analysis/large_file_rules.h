// Which folders the large-file walk enters, treats as one package, or leaves alone.
#pragma once

#include <string>
#include <string_view>

namespace tidyloom {

enum class LargeFileDirectoryRule { walk, package, skip };

struct LargeFileRules {
  std::string home;        // resolved home folder path
  std::string volumeRoot;  // resolved scan root path
  bool skipsPrivacyProtected = false;

  // The rule for the subfolder `name` of the folder `parent` (both as the walk sees them).
  LargeFileDirectoryRule rule(std::string_view name, std::string_view parent) const;
};

// The text after the last "." of a name, lower-cased; empty when there is none.
std::string lowercaseExtension(std::string_view name);

}  // namespace tidyloom
