// Test support for removal tests: running as the tree's unprivileged owner, and a mounted tmpfs.
#pragma once

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "core/bounded_probe.h"
#include "testing/temp_tree.h"

namespace tidyloom::testing {

// Hands the tree to "nobody" and runs `body` in a forked child with that identity; runs it in
// place when the tests already run unprivileged. True when `body` returned true.
inline bool asTreeOwner(const TempTree& tree, const std::function<bool()>& body) {
  if (::geteuid() != 0) return body();
  constexpr uid_t kNobody = 65534;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(tree.root())) {
    (void)::lchown(entry.path().c_str(), kNobody, kNobody);
  }
  (void)::chown(tree.root().c_str(), kNobody, kNobody);
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setgid(kNobody) != 0 || ::setuid(kNobody) != 0) ::_exit(3);
    ::_exit(body() ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// A tmpfs mounted for one test (another device inside the tree); `mounted()` is false where
// mounting is not allowed, and the test should then skip.
class MountedTmpfs {
 public:
  explicit MountedTmpfs(const std::filesystem::path& at) : at_(at) {
    std::filesystem::create_directories(at);
    const auto mount = findExecutable("mount");
    mounted_ = ::geteuid() == 0 && mount &&
               BoundedProbe::run(*mount, {"-t", "tmpfs", "none", at.string()}, std::chrono::seconds(10)).status == 0;
  }
  ~MountedTmpfs() {
    if (mounted_) (void)BoundedProbe::run(*findExecutable("umount"), {at_.string()}, std::chrono::seconds(10));
  }
  MountedTmpfs(const MountedTmpfs&) = delete;
  MountedTmpfs& operator=(const MountedTmpfs&) = delete;
  bool mounted() const { return mounted_; }

 private:
  std::filesystem::path at_;
  bool mounted_ = false;
};

}  // namespace tidyloom::testing
