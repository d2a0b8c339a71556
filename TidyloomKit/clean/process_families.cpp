// The one table of program families and the process names (macOS and Linux) they run under.
#include "clean/activity_gates.h"

namespace tidyloom {

const std::vector<ProcessSignature>& ProductProcessActivity::families() {
  static const std::vector<ProcessSignature> table{
      {"chrome",
       "Google Chrome",
       {"com.google.Chrome", "com.google.Chrome.canary"},
       {"Google Chrome", "Google Chrome Helper", "Google Chrome Canary", "chrome", "google-chrome", "chromium",
        "chromium-browser"}},
      {"edge", "Microsoft Edge", {"com.microsoft.edgemac"}, {"Microsoft Edge", "msedge", "microsoft-edge"}},
      {"brave", "Brave Browser", {"com.brave.Browser"}, {"Brave Browser", "brave", "brave-browser"}},
      {"firefox", "Firefox", {"org.mozilla.firefox"}, {"firefox", "firefox-bin", "firefox-esr"}},
      {"arc", "Arc", {"company.thebrowser.Browser"}, {"Arc"}},
      {"vivaldi", "Vivaldi", {"com.vivaldi.Vivaldi"}, {"Vivaldi", "vivaldi", "vivaldi-bin"}},
      {"qqbrowser", "QQ浏览器", {"com.tencent.QQBrowser"}, {"QQBrowser", "qqbrowser"}},
      {"dia", "Dia", {"company.thebrowser.dia"}, {"Dia"}},
      {"utm", "UTM", {"com.utmapp.UTM"}, {"UTM", "QEMULauncher"}},
      {"dropbox", "Dropbox", {"com.getdropbox.dropbox"}, {"Dropbox", "dropbox"}},
      {"googleDrive", "Google Drive", {"com.google.drivefs"}, {"Google Drive", "GoogleDriveFS"}},
      {"oneDrive", "OneDrive", {"com.microsoft.OneDrive"}, {"OneDrive", "onedrive"}},
      {"mail", "Mail", {"com.apple.mail"}, {"Mail", "thunderbird", "thunderbird-bin", "evolution"}},
      {"jianying", "剪映", {"com.lemon.lvpro"}, {"VideoFusion-macOS", "JianyingPro"}},
      {"futu", "富途牛牛", {"cn.futu.Niuniu"}, {"FutuNiuniu", "futunn"}},
      {"vscode", "Visual Studio Code", {"com.microsoft.VSCode"}, {"Code", "Code Helper", "code"}},
      {"cursor", "Cursor", {"com.todesktop.230313mzl4w4u92"}, {"Cursor", "Cursor Helper", "cursor"}},
      {"zed", "Zed", {"dev.zed.Zed"}, {"zed", "Zed", "zed-editor", "zeditor"}},
      {"codebuddyShared", "CodeBuddy", {"com.tencent.codebuddy"}, {"CodeBuddy", "codebuddy"}},
      {"codebuddyCN", "CodeBuddy CN", {"com.tencent.codebuddy.cn"}, {"CodeBuddy CN", "codebuddy-cn"}},
      {"discord", "Discord", {"com.hnc.Discord"}, {"Discord", "discord"}},
      {"legcord", "Legcord", {"app.legcord.Legcord"}, {"Legcord", "legcord"}},
      {"slack", "Slack", {"com.tinyspeck.slackmacgap"}, {"Slack", "slack"}},
      {"teams",
       "Microsoft Teams",
       {"com.microsoft.teams2", "com.microsoft.teams"},
       {"Microsoft Teams", "MSTeams", "teams", "teams-for-linux"}},
      {"mihomoParty", "Mihomo Party", {"party.mihomo.app"}, {"Mihomo Party", "mihomo-party", "mihomo"}},
  };
  return table;
}

const std::vector<ProcessSignature>& DeveloperCacheActivity::families() {
  static const std::vector<ProcessSignature> table{
      {"xcode", "Xcode", {"com.apple.dt.Xcode"}, {"Xcode", "xcodebuild", "SourceKitService"}},
      {"simulator", "Simulator", {"com.apple.iphonesimulator"}, {"Simulator", "simctl", "launchd_sim"}},
      {"gradle", "Gradle", {}, {"gradle", "gradlew", "org.gradle.launcher.daemon.bootstrap.GradleDaemon"}},
      {"rust", "Rust", {}, {"cargo", "rustc", "rust-analyzer", "rustup"}},
      {"github", "GitHub", {"com.github.GitHubClient"}, {"GitHub Desktop", "github-desktop", "gh"}},
      {"clang", "Clang", {}, {"clang", "clang++", "clangd"}},
      {"pyinstaller", "PyInstaller", {}, {"pyinstaller"}},
      {"pnpm", "pnpm", {}, {"pnpm", "pnpm.cjs"}},
      {"goModules", "Go", {}, {"go", "gopls"}},
      {"claude", "Claude", {"com.anthropic.claudefordesktop"}, {"claude", "Claude"}},
      {"codex", "Codex", {}, {"codex"}},
      {"antigravity", "Antigravity", {"com.google.antigravity"}, {"Antigravity", "antigravity"}},
      {"devtools", "DevTools", {}, {"chrome-devtools-mcp"}},
      {"agentBrowser", "Agent Browser", {}, {"agent-browser"}},
      {"electronTools", "Electron", {}, {"electron", "electron-builder", "electron-forge"}},
      {"messaging", "微信开发者工具", {"com.tencent.webplusdevtools"}, {"wechatwebdevtools", "wechat-devtools"}},
      {"frontendBuild",
       "前端构建工具",
       {},
       {"vite", "vite.js", "webpack", "esbuild", "turbo", "next", "parcel", "rollup"}},
      {"tart", "Tart", {}, {"tart"}},
  };
  return table;
}

namespace {

template <typename Family>
std::optional<Family> familyNamed(const std::vector<ProcessSignature>& table, std::string_view raw) {
  for (size_t i = 0; i < table.size(); ++i) {
    if (table[i].raw == raw) return static_cast<Family>(i);
  }
  return std::nullopt;
}

}  // namespace

std::string_view ProductProcessActivity::rawValue(Family family) {
  return families().at(static_cast<size_t>(family)).raw;
}
std::optional<ProductProcessActivity::Family> ProductProcessActivity::familyFromRaw(std::string_view raw) {
  return familyNamed<Family>(families(), raw);
}
std::string_view DeveloperCacheActivity::rawValue(Family family) {
  return families().at(static_cast<size_t>(family)).raw;
}
std::optional<DeveloperCacheActivity::Family> DeveloperCacheActivity::familyFromRaw(std::string_view raw) {
  return familyNamed<Family>(families(), raw);
}

}  // namespace tidyloom
