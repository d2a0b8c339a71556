// The administrator shell on macOS: osascript running a JavaScript loop with administrator privileges.
#include "platform/admin_shell.h"
#include "platform/user_dirs.h"

namespace tidyloom::platform {
namespace {

// Reads base64 lines, runs each with doShellScript (the system asks once and keeps the
// authorisation for the life of the process), answers one JSON line per command.
constexpr const char* kScript = R"JS(
ObjC.import('Foundation');
const app = Application.currentApplication();
app.includeStandardAdditions = true;
const input = $.NSFileHandle.fileHandleWithStandardInput;
const output = $.NSFileHandle.fileHandleWithStandardOutput;
let pending = '';
function reply(code, message) {
  const text = JSON.stringify({code: code, message: message}) + '\n';
  output.writeData($(text).dataUsingEncoding($.NSUTF8StringEncoding));
}
for (;;) {
  const data = input.availableData;
  if (data.length === 0) break;
  pending += $.NSString.alloc.initWithDataEncoding(data, $.NSUTF8StringEncoding).js;
  let index;
  while ((index = pending.indexOf('\n')) >= 0) {
    const line = pending.slice(0, index);
    pending = pending.slice(index + 1);
    const decoded = $.NSString.alloc.initWithDataEncoding(
        $.NSData.alloc.initWithBase64EncodedStringOptions(line, 0), $.NSUTF8StringEncoding).js;
    try {
      app.doShellScript(decoded, {administratorPrivileges: true});
      reply(0, '');
    } catch (error) {
      reply(error.errorNumber || 1, String(error.message || error));
    }
  }
}
)JS";

}  // namespace

const std::string& adminShellLoop() {
  static const std::string script = kScript;
  return script;
}

AdminShellLaunch adminShellLaunch() {
  return {"/usr/bin/osascript", {"-l", "JavaScript", "-e", adminShellLoop()}, std::nullopt};
}

std::string adminScratchDirectory() { return temporaryDirectory().string(); }

}  // namespace tidyloom::platform
