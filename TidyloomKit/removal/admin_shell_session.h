// AdminShellSession: the one long-lived administrator shell, fed one base64 command line at a time.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <variant>

#include "platform/admin_shell.h"

namespace tidyloom {

// Collects a child's output on a reader thread and hands it out line by line.
class LineReader {
 public:
  // Takes ownership of `fd` and starts reading it.
  explicit LineReader(int fd);
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  struct Line {
    std::string text;  // without the "\n"
  };
  struct End {};
  struct Timeout {};
  using Next = std::variant<Line, End, Timeout>;
  // The first complete line; End when the output is closed and no full line is left.
  Next next(std::chrono::milliseconds timeout);

 private:
  void readLoop();

  int fd_;
  std::mutex lock_;
  std::condition_variable condition_;
  std::string buffer_;
  bool closed_ = false;
  std::thread reader_;
};

class AdminShellSession {
 public:
  struct Reply {
    int code = 0;
    std::string message;
  };

  explicit AdminShellSession(platform::AdminShellLaunch launch = platform::adminShellLaunch());
  ~AdminShellSession();
  AdminShellSession(const AdminShellSession&) = delete;
  AdminShellSession& operator=(const AdminShellSession&) = delete;

  // The session the application shares for its whole life (one authorisation).
  static const std::shared_ptr<AdminShellSession>& shared();

  // Sends one command and waits for its reply, calling `whileRunning` every 0.2 s meanwhile.
  // A shell that ends before answering (prompt dismissed, authentication failed) is stopped and
  // gives code -128 when the platform says the person cancelled, 1 otherwise.
  Reply run(const std::string& command, const std::function<void()>& whileRunning = {});
  // Ends the shell and drops its pipes; the next command starts (and authorises) a new one.
  void stop();

 private:
  void launchIfNeeded();
  void stopLocked();

  platform::AdminShellLaunch launch_;
  std::mutex lock_;
  pid_t process_ = -1;
  int input_ = -1;
  std::unique_ptr<LineReader> reader_;
};

}  // namespace tidyloom
