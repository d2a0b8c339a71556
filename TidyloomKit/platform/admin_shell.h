// How this platform starts the one long-lived administrator shell that speaks the base64-line protocol.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tidyloom::platform {

// The protocol every administrator shell speaks: each line of standard input is base64 of one
// command's UTF-8 text; each command, run with administrator rights, answers one line of JSON
// {"code": N, "message": "..."} on standard output (0 and "" on success); end of input ends it.
struct AdminShellLaunch {
  std::string executable;
  std::vector<std::string> arguments;
  // The launcher's exit status that means the person dismissed the prompt (nothing when none does).
  std::optional<int> cancelledStatus;
};

// macOS: osascript running a JavaScript loop with administrator privileges. Linux: a plain POSIX
// shell loop when already root; else the same loop under one sudo (asking on the terminal once)
// when there is a terminal, or under pkexec without one.
AdminShellLaunch adminShellLaunch();

// The POSIX shell loop used on Linux (exposed so it can be run without a prompt in tests).
const std::string& adminShellLoop();

// A folder for the batch runner's progress and error files that the administrator shell can
// append to: the user's private runtime folder when there is one, else the temporary folder.
std::string adminScratchDirectory();

}  // namespace tidyloom::platform
