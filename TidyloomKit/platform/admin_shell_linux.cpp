// The administrator shell on Linux: one sudo or pkexec session (or a plain shell as root) running a
// POSIX shell loop that speaks the base64-line protocol.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "core/bounded_probe.h"
#include "l10n/l10n.h"
#include "platform/admin_shell.h"
#include "platform/user_dirs.h"

namespace tidyloom::platform {

const std::string& adminShellLoop() {
  // Messages are the command's standard error, made safe for a JSON string: control characters
  // dropped, backslashes and quotes escaped, line breaks written as \n.
  static const std::string loop = R"SH(
while IFS= read -r line; do
  err=$(mktemp) || { printf '{"code":1,"message":"mktemp failed"}\n'; continue; }
  # The command goes through a file, not an argument: a batch of many paths exceeds what one
  # argument may hold.
  cmd=$(mktemp) || { rm -f "$err"; printf '{"code":1,"message":"mktemp failed"}\n'; continue; }
  printf '%s' "$line" | base64 -d >"$cmd" 2>/dev/null || { rm -f "$err" "$cmd"; printf '{"code":1,"message":"bad command encoding"}\n'; continue; }
  sh "$cmd" </dev/null >/dev/null 2>"$err"
  code=$?
  rm -f "$cmd"
  if [ "$code" -eq 0 ]; then
    printf '{"code":0,"message":""}\n'
  else
    msg=$(head -c 4000 "$err" | LC_ALL=C tr -d '\000-\011\013-\037\177' | sed -e 's/\\/\\\\/g' -e 's/"/\\"/g' | awk 'BEGIN{ORS=""} NR>1{print "\\n"} {print}')
    printf '{"code":%d,"message":"%s"}\n' "$code" "$msg"
  fi
  rm -f "$err"
done
)SH";
  return loop;
}

AdminShellLaunch adminShellLaunch() {
  if (::geteuid() == 0) return {"/bin/sh", {"-c", adminShellLoop()}, std::nullopt};
  // sudo asks on the controlling terminal, not on our pipes, so it works with redirected streams.
  const int tty = ::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (tty >= 0) {
    (void)::close(tty);
    if (const auto sudo = findExecutable("sudo")) {
      const std::string prompt = L10n::translate("Tidyloom 需要管理员权限，请输入密码：");
      return {*sudo, {"-p", prompt, "--", "/bin/sh", "-c", adminShellLoop()}, std::nullopt};
    }
  }
  if (const auto pkexec = findExecutable("pkexec")) {
    // pkexec exits with 126 when the authentication dialog is dismissed.
    return {*pkexec, {"/bin/sh", "-c", adminShellLoop()}, 126};
  }
  if (const auto sudo = findExecutable("sudo")) return {*sudo, {"-n", "--", "/bin/sh", "-c", adminShellLoop()}, {}};
  return {"/bin/false", {}, std::nullopt};
}

std::string adminScratchDirectory() {
  // Root may not append to our files in a sticky world-writable folder when fs.protected_regular
  // is on, so prefer the user's own runtime folder.
  if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime) {
    struct stat info {};
    if (::stat(runtime, &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == ::getuid()) return runtime;
  }
  return temporaryDirectory().string();
}

}  // namespace tidyloom::platform
