// The families of developer tools and applications that rule-file gates name.
#pragma once

#include <optional>
#include <string_view>

namespace tidyloom {

struct DeveloperCacheActivity {
  enum class Family {
    xcode,
    simulator,
    gradle,
    rust,
    github,
    clang,
    pyinstaller,
    pnpm,
    goModules,
    claude,
    codex,
    antigravity,
    devtools,
    agentBrowser,
    electronTools,
    messaging,
    frontendBuild,
    tart,
  };
  static std::string_view rawValue(Family family);
  static std::optional<Family> familyFromRaw(std::string_view raw);
};

struct ProductProcessActivity {
  enum class Family {
    chrome,
    edge,
    brave,
    firefox,
    arc,
    vivaldi,
    qqbrowser,
    dia,
    utm,
    dropbox,
    googleDrive,
    oneDrive,
    mail,
    jianying,
    futu,
    vscode,
    cursor,
    zed,
    codebuddyShared,
    codebuddyCN,
    discord,
    legcord,
    slack,
    teams,
    mihomoParty,
  };
  static std::string_view rawValue(Family family);
  static std::optional<Family> familyFromRaw(std::string_view raw);
};

}  // namespace tidyloom
