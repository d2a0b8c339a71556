// Fixed name sets of the large-file walk and the rule that applies them.
#include "analysis/large_file_rules.h"

#include <algorithm>
#include <array>

namespace tidyloom {
namespace {

template <size_t N>
bool contains(const std::array<std::string_view, N>& set, std::string_view name) {
  return std::find(set.begin(), set.end(), name) != set.end();
}

// Never entered anywhere: trash, indexes, and version-control stores.
constexpr std::array<std::string_view, 10> kSkippedNames{".Trash",
                                                         ".Trashes",
                                                         ".Spotlight-V100",
                                                         ".fseventsd",
                                                         ".DocumentRevisions-V100",
                                                         ".TemporaryItems",
                                                         ".MobileBackups",
                                                         ".git",
                                                         ".svn",
                                                         ".hg"};
// The system's own folders directly under a volume root.
constexpr std::array<std::string_view, 10> kVolumeRootSkippedNames{
    "System", "Library", "Applications", "private", "usr", "bin", "sbin", "cores", "dev", "Volumes"};
constexpr std::array<std::string_view, 3> kPrivacyProtectedNames{"Desktop", "Documents", "Downloads"};
// Applications and media libraries are never entered.
constexpr std::array<std::string_view, 5> kSkippedExtensions{"app", "photoslibrary", "photolibrary", "musiclibrary",
                                                             "tvlibrary"};
constexpr std::array<std::string_view, 20> kPackageExtensions{
    "dsym",    "xcarchive",     "framework", "xcframework", "bundle", "plugin",      "kext",
    "docset",  "imovielibrary", "fcpbundle", "logicx",      "band",   "rtfd",        "pages",
    "numbers", "key",           "vmwarevm",  "pvm",         "utm",    "sparsebundle"};

}  // namespace

std::string lowercaseExtension(std::string_view name) {
  // A leading dot marks a hidden name, not an extension (".bashrc").
  const size_t dot = name.find_last_of('.');
  if (dot == std::string_view::npos || dot == 0) return {};
  std::string extension(name.substr(dot + 1));
  for (char& c : extension) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return extension;
}

LargeFileDirectoryRule LargeFileRules::rule(std::string_view name, std::string_view parent) const {
  if (contains(kSkippedNames, name)) return LargeFileDirectoryRule::skip;
  if (parent == home && name == "Library") return LargeFileDirectoryRule::skip;
  if (parent == home && skipsPrivacyProtected && contains(kPrivacyProtectedNames, name)) {
    return LargeFileDirectoryRule::skip;
  }
  if (parent == volumeRoot && volumeRoot != home && contains(kVolumeRootSkippedNames, name)) {
    return LargeFileDirectoryRule::skip;
  }
  const std::string extension = lowercaseExtension(name);
  if (contains(kSkippedExtensions, extension)) return LargeFileDirectoryRule::skip;
  if (contains(kPackageExtensions, extension)) return LargeFileDirectoryRule::package;
  return LargeFileDirectoryRule::walk;
}

}  // namespace tidyloom
