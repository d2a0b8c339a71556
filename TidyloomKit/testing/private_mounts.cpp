// Private mount namespaces: unshare in a forked child, tmpfs on each folder.
#include "testing/private_mounts.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tidyloom::testing {

std::optional<bool> inPrivateMounts(const std::vector<std::filesystem::path>& folders,
                                    const std::function<bool()>& body) {
  const pid_t child = ::fork();
  if (child < 0) return std::nullopt;
  if (child == 0) {
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) ::_exit(77);
    for (const auto& folder : folders) {
      if (::mount("tidyloom-test", folder.c_str(), "tmpfs", 0, "mode=0755") != 0) ::_exit(77);
    }
    ::_exit(body() ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 77) return std::nullopt;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace tidyloom::testing
