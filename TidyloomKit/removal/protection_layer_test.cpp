// Protection layer: every refusal message and the allowed roots of each scope, on a real tree.
#include "removal/protection_layer.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "core/engine_error.h"
#include "l10n/l10n.h"
#include "platform/system_paths.h"
#include "testing/temp_tree.h"

namespace tidyloom {
namespace {

using testing::TempTree;

// Returns "" when allowed, else the refusal message.
std::string judge(const std::string& path, const ScanRoots& roots, RemovalScope scope,
                  const ProtectionLayer& layer = {}) {
  try {
    layer.assertRemovable(path, roots, scope);
    return "";
  } catch (const EngineError& e) {
    EXPECT_EQ(e.kind(), EngineError::Kind::protection);
    return e.message();
  }
}

struct Case {
  std::string path;  // "~" stands for the fixture home
  RemovalScope scope;
  std::string expected;  // "" = allowed; "~" in it stands for the home too
};

class ProtectionTable : public ::testing::TestWithParam<Case> {
 protected:
  void SetUp() override { L10n::setLanguage(AppLanguage::simplifiedChinese); }
  void TearDown() override { L10n::setLanguage(AppLanguage::system); }
  TempTree tree;
};

std::string withHome(std::string text, const std::string& home) {
  for (size_t at = 0; (at = text.find('~', at)) != std::string::npos; at += home.size()) text.replace(at, 1, home);
  return text;
}

TEST_P(ProtectionTable, JudgesEachPathInItsScope) {
  const auto roots = ScanRoots::fixture(tree.root());
  const std::string home = tree.root().string();
  tree.dir("Documents");
  tree.dir("tmp/cache");
  EXPECT_EQ(judge(withHome(GetParam().path, home), roots, GetParam().scope), withHome(GetParam().expected, home))
      << GetParam().path << " in " << rawValue(GetParam().scope);
}

using S = RemovalScope;
INSTANTIATE_TEST_SUITE_P(
    Rules, ProtectionTable,
    ::testing::Values(
        Case{"/var/folders/ab/X/com.CrowdStrike.falcon", S::userData,
             "端点安全组件缓存受保护：/var/folders/ab/X/com.CrowdStrike.falcon"},
        Case{"/var/folders/ab/X/com.jamf.agent", S::userSelected,
             "端点安全组件缓存受保护：/var/folders/ab/X/com.jamf.agent"},
        Case{"/System", S::userData, "受保护路径：/System"},
        Case{"/System/Library", S::externalVolume, "受保护路径：/System/Library"},
        Case{"/Applications/Utilities/Terminal.app", S::uninstallApp,
             "受保护路径：/Applications/Utilities/Terminal.app"},
        Case{"/Systemx/a", S::userData, "路径超出允许范围：/Systemx/a"},
        Case{"/Systemx/a", S::externalVolume, "外置卷清理拒绝系统根路径"},
        Case{"/usr/share/doc", S::userSelected, "受保护路径：/usr/share/doc"},
        Case{"/etc/passwd", S::userData, "受保护路径：/etc/passwd"},
        Case{"/run/user/1", S::userSelected, "受保护路径：/run/user/1"}, Case{"~", S::userData, "不能删除家目录根路径"},
        Case{"~", S::uninstallApp, "不能删除家目录根路径"}, Case{"~/", S::externalVolume, "不能删除家目录根路径"},
        Case{"~", S::userSelected, "不能删除家目录根路径"}, Case{"/", S::userSelected, "受保护路径：/"},
        Case{"~/Documents", S::userData, ""}, Case{"~/Documents", S::userSelected, "受保护路径：~/Documents"},
        Case{"~/Documents/report.txt", S::userSelected, ""}, Case{"~/tmp/cache", S::userData, ""},
        Case{"~/private/var/db/diagnostics/x", S::userData, ""}, Case{"/private/var/db/powerlog/x", S::userData, ""},
        Case{"/private/var/db/receipts", S::userData, "路径超出允许范围：/private/var/db/receipts"},
        Case{"/opt/thing", S::userData, "受保护路径：/opt/thing"},
        Case{"/Applications", S::uninstallApp, "卸载路径超出允许范围：/Applications"},
        Case{"/Applications/X.app", S::uninstallApp, ""},
        Case{"/opt/homebrew/Caskroom/x", S::uninstallApp, "受保护路径：/opt/homebrew/Caskroom/x"},
        Case{"~/Library/Caches/x", S::uninstallApp, ""},
        Case{"/opt/other/x", S::uninstallApp, "受保护路径：/opt/other/x"},
        Case{"/Volumes/USB/x", S::externalVolume, ""}, Case{"~/Volumes/USB/x", S::externalVolume, ""},
        Case{"/mnt/usb/x", S::externalVolume, ""}, Case{"/media/usb/x", S::externalVolume, ""},
        Case{"/run/media/u/x", S::externalVolume, "受保护路径：/run/media/u/x"},
        Case{"/data/x", S::externalVolume, "外置卷路径无效：/data/x"},
        Case{"/home", S::userSelected, "受保护路径：/home"},
        Case{"/srv/data/x", S::userSelected, "受保护路径：/srv/data/x"},
        // The Linux system's own state, other users' homes and the user's secrets, in every scope.
        Case{"/var/lib", S::userSelected, "受保护路径：/var/lib"},
        Case{"/var/lib/dpkg", S::userData, "受保护路径：/var/lib/dpkg"},
        Case{"/opt/x", S::userSelected, "受保护路径：/opt/x"}, Case{"/srv/x", S::userSelected, "受保护路径：/srv/x"},
        Case{"/home/someone-else", S::userSelected, "受保护路径：/home/someone-else"},
        Case{"/home/someone-else/.cache/x", S::userData, "受保护路径：/home/someone-else/.cache/x"},
        Case{"~/.ssh", S::userData, "受保护路径：~/.ssh"},
        Case{"~/.ssh/id_ed25519", S::userSelected, "受保护路径：~/.ssh/id_ed25519"},
        Case{"~/.gnupg", S::userSelected, "受保护路径：~/.gnupg"},
        Case{"~/.local", S::userSelected, "受保护路径：~/.local"},
        Case{"~/.local/share/keyrings/login.keyring", S::userData, "受保护路径：~/.local/share/keyrings/login.keyring"},
        Case{"~/.password-store", S::uninstallApp, "受保护路径：~/.password-store"},
        Case{"~/.config/chromium/Default/Cookies", S::userData, "受保护路径：~/.config/chromium/Default/Cookies"},
        Case{"~/.config/chromium/Default/Login Data", S::userSelected,
             "受保护路径：~/.config/chromium/Default/Login Data"},
        Case{"~/.mozilla/firefox/p/key4.db", S::userData, "受保护路径：~/.mozilla/firefox/p/key4.db"},
        Case{"~/.mozilla/firefox/p/logins.json", S::userData, "受保护路径：~/.mozilla/firefox/p/logins.json"},
        Case{"~/.mozilla/firefox/p/cache2", S::userData, ""}));

class ProtectionLayerTest : public ::testing::Test {
 protected:
  void SetUp() override { L10n::setLanguage(AppLanguage::simplifiedChinese); }
  void TearDown() override { L10n::setLanguage(AppLanguage::system); }
  TempTree tree;
};

TEST_F(ProtectionLayerTest, ALinkIsJudgedByItsTargetButNamedAsGiven) {
  const auto roots = ScanRoots::fixture(tree.root());
  const auto link = tree.symlink("Caches/tools", "/usr/bin");
  EXPECT_EQ(judge(link.string(), roots, RemovalScope::userData), "受保护路径：" + link.string());
  const auto homeLink = tree.symlink("Caches/me", tree.root());
  EXPECT_EQ(judge(homeLink.string(), roots, RemovalScope::userData), "不能删除家目录根路径");
}

TEST_F(ProtectionLayerTest, CanonicalPathResolvesLinksAndDropsTrailingSeparators) {
  tree.dir("real/inner");
  tree.symlink("alias", tree.path("real"));
  EXPECT_EQ(ProtectionLayer::canonicalPath(tree.path("alias") / "inner/"), tree.path("real/inner").string());
  EXPECT_EQ(ProtectionLayer::canonicalPath(tree.path("alias") / "missing"), tree.path("real/missing").string());
}

TEST_F(ProtectionLayerTest, FixtureApplicationsFolderIsRefusedButItsBundlesAreNot) {
  const auto roots = ScanRoots::fixture(tree.root());
  const auto layer = ProtectionLayer::forFixture(tree.root());
  const auto apps = tree.dir("Applications");
  EXPECT_EQ(judge(apps.string(), roots, RemovalScope::uninstallApp, layer), "卸载路径超出允许范围：" + apps.string());
  EXPECT_EQ(judge(tree.dir("Applications/Notes.app").string(), roots, RemovalScope::uninstallApp, layer), "");
}

TEST_F(ProtectionLayerTest, AFixtureRunReachesNothingOutsideItsFolder) {
  const auto roots = ScanRoots::fixture(tree.root());
  const auto layer = ProtectionLayer::forFixture(tree.root());
  for (const auto scope :
       {RemovalScope::userData, RemovalScope::uninstallApp, RemovalScope::externalVolume, RemovalScope::userSelected}) {
    for (const std::string path : {"/elsewhere/v", "/Library/Caches/x", "/private/var/log/x", "/tmp/x"}) {
      EXPECT_EQ(judge(path, roots, scope, layer), "路径超出允许范围：" + path) << path;
    }
  }
  // The system folders of the fixture are its own, and refused like the live ones.
  for (const std::string relative : {"System/x", "usr/bin/x", "etc/x", "var/lib/dpkg", "opt/x"}) {
    const std::string path = tree.path(relative).string();
    EXPECT_EQ(judge(path, roots, RemovalScope::userSelected, layer), "受保护路径：" + path) << path;
  }
  EXPECT_EQ(judge(tree.path("Library/Caches/x").string(), roots, RemovalScope::userData, layer), "");
  EXPECT_EQ(judge(tree.path("SystemLibrary/Caches/x").string(), roots, RemovalScope::userData, layer), "");
  EXPECT_EQ(judge(tree.path("private/var/log/x").string(), roots, RemovalScope::userData, layer), "");
}

TEST_F(ProtectionLayerTest, TheEnvironmentNeverWidensWhatUserDataAllows) {
  const auto saved = [](const char* name) { return std::getenv(name) ? std::string(std::getenv(name)) : ""; };
  const std::string tmp = saved("TMPDIR"), state = saved("XDG_STATE_HOME"), cache = saved("XDG_CACHE_HOME");
  ::setenv("TMPDIR", "/", 1);
  ::setenv("XDG_STATE_HOME", "/var/lib/x", 1);
  ::setenv("XDG_CACHE_HOME", "/etc", 1);
  const auto roots = ScanRoots::live();
  for (const char* name : {"TMPDIR", "XDG_STATE_HOME", "XDG_CACHE_HOME"}) ::unsetenv(name);
  if (!tmp.empty()) ::setenv("TMPDIR", tmp.c_str(), 1);
  if (!state.empty()) ::setenv("XDG_STATE_HOME", state.c_str(), 1);
  if (!cache.empty()) ::setenv("XDG_CACHE_HOME", cache.c_str(), 1);
  EXPECT_EQ(roots.temporary, "/tmp");
  EXPECT_EQ(roots.darwinUserDirectory, RealHome::url() / ".local/state");
  EXPECT_EQ(roots.darwinUserCache, RealHome::url() / ".cache");
  for (const char* path : {"/var/lib/x/y", "/srv/y", "/var/mail/y"}) {
    EXPECT_FALSE(judge(path, roots, RemovalScope::userData).empty()) << path;
  }
}

TEST_F(ProtectionLayerTest, OnTheLiveSystemOnlyTheScansOwnDiagnosticFoldersOfTheDatabaseRootAreReachable) {
  const auto roots = ScanRoots::live();
  for (const auto folder : platform::diagnosticFolders()) {
    const std::string path = roots.privateVarDB.string() + "/" + std::string(folder) + "/core.1";
    EXPECT_EQ(judge(path, roots, RemovalScope::userData), "") << path;
  }
  const std::string other = roots.privateVarDB.string() + "/dpkg/status";
  EXPECT_FALSE(judge(other, roots, RemovalScope::userData).empty());
}

TEST_F(ProtectionLayerTest, MessagesComeOutInEnglish) {
  L10n::setLanguage(AppLanguage::english);
  const auto roots = ScanRoots::fixture(tree.root());
  for (const auto& [path, scope] : {std::pair{std::string("/System/x"), RemovalScope::userData},
                                    {tree.root().string(), RemovalScope::userData},
                                    {"/opt/x", RemovalScope::userData},
                                    {"/opt/x", RemovalScope::uninstallApp},
                                    {"/System", RemovalScope::externalVolume},
                                    {"/data/x", RemovalScope::externalVolume},
                                    {"/var/folders/a/com.eset.x", RemovalScope::userData}}) {
    const std::string message = judge(path, roots, scope);
    EXPECT_FALSE(message.empty());
    EXPECT_EQ(message.find_first_of("\xe4\xe5\xe6\xe7\xe8\xe9"), std::string::npos) << message;
  }
}

TEST(EndpointSecurity, MatchesVendorMarkersOnlyUnderPerUserTemporaryFolders) {
  EXPECT_TRUE(ProtectionLayer::isEndpointSecurityCachePath("/private/var/folders/x/com.sentinelone.a"));
  EXPECT_TRUE(ProtectionLayer::isEndpointSecurityCachePath("/VAR/FOLDERS/x/COM.PALOALTONETWORKS.gp"));
  EXPECT_FALSE(ProtectionLayer::isEndpointSecurityCachePath("/Users/a/com.crowdstrike.x"));
  EXPECT_FALSE(ProtectionLayer::isEndpointSecurityCachePath("/var/folders/x/com.example"));
}

}  // namespace
}  // namespace tidyloom
