// Raw names of the gate families, in the order of their enumerations.
#include "clean/activity_families.h"

#include <array>

namespace tidyloom {
namespace {

constexpr std::array<std::string_view, 18> kDeveloperNames{
    "xcode",       "simulator",    "gradle",        "rust",      "github",        "clang",
    "pyinstaller", "pnpm",         "goModules",     "claude",    "codex",         "antigravity",
    "devtools",    "agentBrowser", "electronTools", "messaging", "frontendBuild", "tart"};

constexpr std::array<std::string_view, 25> kProductNames{
    "chrome",          "edge",        "brave",    "firefox", "arc",      "vivaldi", "qqbrowser",  "dia",    "utm",
    "dropbox",         "googleDrive", "oneDrive", "mail",    "jianying", "futu",    "vscode",     "cursor", "zed",
    "codebuddyShared", "codebuddyCN", "discord",  "legcord", "slack",    "teams",   "mihomoParty"};

template <typename Family, size_t N>
std::optional<Family> lookup(const std::array<std::string_view, N>& names, std::string_view raw) {
  for (size_t i = 0; i < N; ++i) {
    if (names[i] == raw) return static_cast<Family>(i);
  }
  return std::nullopt;
}

}  // namespace

std::string_view DeveloperCacheActivity::rawValue(Family family) {
  return kDeveloperNames.at(static_cast<size_t>(family));
}
std::optional<DeveloperCacheActivity::Family> DeveloperCacheActivity::familyFromRaw(std::string_view raw) {
  return lookup<Family>(kDeveloperNames, raw);
}
std::string_view ProductProcessActivity::rawValue(Family family) {
  return kProductNames.at(static_cast<size_t>(family));
}
std::optional<ProductProcessActivity::Family> ProductProcessActivity::familyFromRaw(std::string_view raw) {
  return lookup<Family>(kProductNames, raw);
}

}  // namespace tidyloom
