// The paths the section rules of the rule file name, before they are measured: literal paths,
// pattern matches and absolute paths, with folders opened up where offering them whole would take
// protected or package-manager content along.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "clean/clean_records.h"
#include "clean/scan_rule_config.h"
#include "core/scan_progress.h"

namespace tidyloom {

struct RulePath {
  std::string path;
  std::string ruleId;
};

// Paths of every rule whose surfaces meet `surfaces`; a "devCaches" path is kept only when its
// developer surface is requested. Rules:
// - a rule with `recursiveContents` offers the entries of each folder it names, not the folder;
// - a whitelisted path is dropped, and a folder with whitelisted content inside is opened up;
// - a "devCaches" folder that may hold package caches is opened up so that each cache is filed
//   under its own surface;
// - symbolic links are never gone through, and a path is listed once;
// - with `confinedToHome` (a fixture tree) an absolute path outside the home is not even looked at.
std::vector<RulePath> rulePaths(const std::vector<SectionRule>& rules, const SurfaceSet& surfaces,
                                const std::filesystem::path& home, const std::vector<std::string>& whitelist,
                                const CancellationToken& stop, bool confinedToHome = false);

}  // namespace tidyloom
