// The administrator shell's process, pipes and reply lines.
#include "removal/admin_shell_session.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include <pthread.h>

#include <cerrno>
#include <regex>
#include <vector>

#include "core/base64.h"
#include "core/engine_error.h"
#include "l10n/l10n.h"

extern char** environ;

namespace tidyloom {

LineReader::LineReader(int fd) : fd_(fd), reader_([this] { readLoop(); }) {}

LineReader::~LineReader() {
  reader_.join();  // the owner closes the child's side first, so the read ends
  (void)::close(fd_);
}

void LineReader::readLoop() {
  char chunk[4096];
  for (;;) {
    const ssize_t n = ::read(fd_, chunk, sizeof chunk);
    if (n < 0 && errno == EINTR) continue;
    {
      std::lock_guard guard(lock_);
      if (n <= 0) {
        closed_ = true;
      } else {
        buffer_.append(chunk, static_cast<size_t>(n));
      }
    }
    condition_.notify_all();
    if (n <= 0) return;
  }
}

LineReader::Next LineReader::next(std::chrono::milliseconds timeout) {
  std::unique_lock guard(lock_);
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    if (const auto end = buffer_.find('\n'); end != std::string::npos) {
      Line line{buffer_.substr(0, end)};
      buffer_.erase(0, end + 1);
      return line;
    }
    if (closed_) return End{};
    if (condition_.wait_until(guard, deadline) == std::cv_status::timeout) {
      if (buffer_.find('\n') == std::string::npos && !closed_) return Timeout{};
    }
  }
}

namespace {

constexpr auto kReplySlice = std::chrono::milliseconds(200);

bool makePipe(int (&ends)[2]) {
  if (::pipe(ends) != 0) return false;
  (void)::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
  (void)::fcntl(ends[1], F_SETFD, FD_CLOEXEC);
  return true;
}

// Writes to the shell's input without letting a shell that already died kill us with SIGPIPE:
// the signal is blocked for this thread and a pending one is consumed afterwards.
bool writeAll(int fd, const std::string& bytes) {
  sigset_t pipeSignal;
  sigset_t previous;
  sigemptyset(&pipeSignal);
  sigaddset(&pipeSignal, SIGPIPE);
  (void)::pthread_sigmask(SIG_BLOCK, &pipeSignal, &previous);
  bool written = true;
  for (size_t done = 0; done < bytes.size() && written;) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    written = n > 0;
    if (written) done += static_cast<size_t>(n);
  }
  sigset_t pending;
  sigemptyset(&pending);
  if (!written && ::sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1) {
    int consumed = 0;
    (void)::sigwait(&pipeSignal, &consumed);
  }
  (void)::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  return written;
}

AdminShellSession::Reply decodeReply(const std::string& line) {
  const auto document = nlohmann::json::parse(line, nullptr, false);
  if (document.is_object() && document.contains("code") && document["code"].is_number_integer()) {
    const auto message = document.value("message", nlohmann::json());
    return {document["code"].get<int>(), message.is_string() ? message.get<std::string>() : std::string()};
  }
  // A message that is not valid UTF-8 spoils the JSON; the code alone still says what happened.
  std::smatch match;
  if (std::regex_search(line, match, std::regex(R"(^\{"code":(-?\d+))"))) return {std::stoi(match[1]), {}};
  return {1, {}};
}

}  // namespace

AdminShellSession::AdminShellSession(platform::AdminShellLaunch launch) : launch_(std::move(launch)) {}

AdminShellSession::~AdminShellSession() {
  std::lock_guard guard(lock_);
  stopLocked();
}

const std::shared_ptr<AdminShellSession>& AdminShellSession::shared() {
  static const auto session = std::make_shared<AdminShellSession>();
  return session;
}

void AdminShellSession::launchIfNeeded() {
  if (process_ > 0 && ::waitpid(process_, nullptr, WNOHANG) == 0) return;
  stopLocked();
  int toChild[2];
  int fromChild[2];
  if (!makePipe(toChild)) throw EngineError::io(L10n::translate("管理员授权失败或用户取消"));
  if (!makePipe(fromChild)) {
    (void)::close(toChild[0]);
    (void)::close(toChild[1]);
    throw EngineError::io(L10n::translate("管理员授权失败或用户取消"));
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, toChild[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, fromChild[1], STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  std::vector<char*> argv{const_cast<char*>(launch_.executable.c_str())};
  for (auto& argument : launch_.arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  pid_t pid = -1;
  const int spawned = ::posix_spawn(&pid, launch_.executable.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  (void)::close(toChild[0]);
  (void)::close(fromChild[1]);
  if (spawned != 0) {
    (void)::close(toChild[1]);
    (void)::close(fromChild[0]);
    throw EngineError::io(L10n::translate("管理员授权失败或用户取消"));
  }
  process_ = pid;
  input_ = toChild[1];
  reader_ = std::make_unique<LineReader>(fromChild[0]);
}

void AdminShellSession::stopLocked() {
  if (input_ >= 0) (void)::close(input_);
  input_ = -1;
  if (process_ > 0) {
    (void)::kill(process_, SIGTERM);
    (void)::waitpid(process_, nullptr, 0);
  }
  process_ = -1;
  reader_.reset();
}

void AdminShellSession::stop() {
  std::lock_guard guard(lock_);
  stopLocked();
}

AdminShellSession::Reply AdminShellSession::run(const std::string& command, const std::function<void()>& whileRunning) {
  std::lock_guard guard(lock_);
  launchIfNeeded();
  const bool written = writeAll(input_, base64Encode(command) + "\n");
  for (;;) {
    const auto next = written ? reader_->next(kReplySlice) : LineReader::Next{LineReader::End{}};
    if (const auto* reply = std::get_if<LineReader::Line>(&next)) return decodeReply(reply->text);
    if (std::holds_alternative<LineReader::Timeout>(next)) {
      if (whileRunning) whileRunning();
      continue;
    }
    // The shell ended without answering: the prompt was dismissed or authentication failed.
    (void)::close(input_);
    input_ = -1;
    int status = 0;
    (void)::waitpid(process_, &status, 0);
    process_ = -1;
    reader_.reset();
    const bool cancelled =
        launch_.cancelledStatus && WIFEXITED(status) && WEXITSTATUS(status) == *launch_.cancelledStatus;
    return {cancelled ? -128 : 1, {}};
  }
}

}  // namespace tidyloom
