// Administrator commands through the shared shell session, batches with progress and error files.
#include "removal/privileged_runner.h"

#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <chrono>
#include <map>
#include <sstream>

#include "core/atomic_write.h"
#include "core/bounded_probe.h"
#include "core/engine_error.h"
#include "core/records.h"
#include "core/uuid.h"
#include "l10n/l10n.h"
#include "platform/admin_shell.h"
#include "removal/admin_shell_session.h"

namespace tidyloom {
namespace {

// Marks where each step's standard error starts in the shared error file.
constexpr std::string_view kStepMarker = "@@tidyloom-step ";
// The status recorded for a step skipped after a stop; no removal command exits with it.
constexpr int kSkippedStatus = 199;

[[noreturn]] void authError(const AdminShellSession::Reply& reply) {
  if (reply.code == -128) throw EngineError::io(L10n::translate("已取消管理员授权"));
  if (reply.message.empty()) throw EngineError::io(L10n::translate("管理员授权失败或用户取消"));
  throw EngineError::io(reply.message);
}

bool createPrivateFile(const std::string& path) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  (void)::close(fd);
  return true;
}

// Reads the progress file from `offset` and reports every new complete line ("id status") once.
void drainProgress(const std::string& path, std::string::size_type& offset, std::map<std::string, int>& finished,
                   const std::function<void(const std::string&)>& onStepFinished) {
  std::string text;
  if (!readWholeFile(path, text) || text.size() <= offset) return;
  const auto lastBreak = text.rfind('\n');
  if (lastBreak == std::string::npos || lastBreak < offset) return;
  std::istringstream lines(text.substr(offset, lastBreak + 1 - offset));
  offset = lastBreak + 1;
  for (std::string line; std::getline(lines, line);) {
    const auto space = line.rfind(' ');
    if (space == std::string::npos) continue;
    const std::string id = line.substr(0, space);
    int status = -1;
    (void)std::from_chars(line.data() + space + 1, line.data() + line.size(), status);
    if (finished.emplace(id, status).second && onStepFinished) onStepFinished(id);
  }
}

// Splits the error file into each step's text (trailing blank lines trimmed).
AdminStepErrors stepErrors(const std::string& path) {
  AdminStepErrors errors;
  std::string text;
  if (!readWholeFile(path, text)) return errors;
  std::istringstream lines(text);
  std::string current;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(kStepMarker)) {
      current = line.substr(kStepMarker.size());
      continue;
    }
    if (current.empty() || line.empty()) continue;
    auto& reason = errors[current];
    if (!reason.empty()) reason += '\n';
    reason += line;
  }
  return errors;
}

}  // namespace

std::string shellQuoted(const std::string& text) {
  std::string out = "'";
  for (const char c : text) {
    if (c == '\'') {
      out += "'\\''";
    } else {
      out += c;
    }
  }
  return out + "'";
}

PrivilegedRunner::PrivilegedRunner(std::shared_ptr<AdminShellSession> session) : session_(std::move(session)) {}

PrivilegedRunner PrivilegedRunner::live() { return PrivilegedRunner(AdminShellSession::shared()); }

void PrivilegedRunner::runAdmin(const std::string& command) {
  const auto reply = session_->run(command);
  if (reply.code != 0) authError(reply);
}

AdminStepErrors PrivilegedRunner::runAdminBatch(const std::vector<AdminStep>& steps,
                                                const std::function<void(const std::string&)>& onStepFinished) {
  if (steps.empty()) return {};
  const std::string stem = platform::adminScratchDirectory() + "/tidyloom-admin-" + makeUUID();
  const std::string progressFile = stem + ".log";
  const std::string errorFile = stem + ".err";
  if (!createPrivateFile(progressFile)) throw EngineError::io(L10n::translate("无法创建授权进度文件"));
  if (!createPrivateFile(errorFile)) {
    (void)::unlink(progressFile.c_str());
    throw EngineError::io(L10n::translate("无法创建授权进度文件"));
  }
  // Made by this process when a stop is requested: the steps not yet started see it and are skipped.
  const std::string stopFile = stem + ".stop";
  std::string command;
  for (const auto& step : steps) {
    command += "if [ -e " + shellQuoted(stopFile) + " ]; then echo " + shellQuoted(step.id) + " " +
               std::to_string(kSkippedStatus) + " >>" + shellQuoted(progressFile) + "; else ";
    command += "echo " + shellQuoted(std::string(kStepMarker) + step.id) + " >>" + shellQuoted(errorFile) + "; ";
    // A subshell keeps the redirections on the whole step, whatever shape its command has, and
    // keeps an "exit" inside it from ending the batch.
    command += "( " + step.command + "\n) >/dev/null 2>>" + shellQuoted(errorFile);
    // The step's exit status travels with its id: it alone says whether the step failed.
    command += "; echo " + shellQuoted(step.id) + " $? >>" + shellQuoted(progressFile) + "; fi; ";
  }
  command += "exit 0";
  bool stopAsked = false;
  const auto askStop = [&] {
    if (stopAsked || !stop.stop_requested()) return;
    stopAsked = createPrivateFile(stopFile);
  };

  std::string::size_type offset = 0;
  std::map<std::string, int> finished;
  AdminShellSession::Reply reply;
  try {
    reply = session_->run(command, [&] {
      askStop();
      drainProgress(progressFile, offset, finished, onStepFinished);
    });
  } catch (...) {
    (void)::unlink(progressFile.c_str());
    (void)::unlink(errorFile.c_str());
    (void)::unlink(stopFile.c_str());
    throw;
  }
  drainProgress(progressFile, offset, finished, onStepFinished);
  const AdminStepErrors written = stepErrors(errorFile);
  (void)::unlink(progressFile.c_str());
  (void)::unlink(errorFile.c_str());
  (void)::unlink(stopFile.c_str());
  if (reply.code != 0) authError(reply);
  // A step failed when its status says so (or it never finished); what it wrote says why.
  AdminStepErrors errors;
  for (const auto& step : steps) {
    const auto done = finished.find(step.id);
    if (done != finished.end() && done->second == 0) continue;
    if ((done != finished.end() && done->second == kSkippedStatus) ||
        (done == finished.end() && stop.stop_requested())) {
      errors[step.id] = L10n::translate(kNotStartedReason);
      continue;
    }
    const auto text = written.find(step.id);
    if (text != written.end()) {
      errors[step.id] = text->second;
    } else if (done == finished.end()) {
      errors[step.id] = L10n::translate("步骤未完成");
    } else {
      errors[step.id] = L10n::translate("退出状态 %@", {std::to_string(done->second)});
    }
  }
  return errors;
}

void PrivilegedRunner::runUser(const std::string& executable, const std::vector<std::string>& arguments) {
  const auto result = BoundedProbe::run(executable, arguments, std::chrono::minutes(10));
  if (!result.launched || result.status != 0) {
    throw EngineError::io(L10n::translate("命令执行失败：%@（状态 %@）", {executable, std::to_string(result.status)}));
  }
}

void RecordingPrivilegedRunner::execute(const std::string& command) const {
  const auto result = BoundedProbe::run("/bin/sh", {"-c", command}, std::chrono::minutes(10));
  if (result.status != 0) {
    throw EngineError::io("stub admin execution failed (" + std::to_string(result.status) + ")");
  }
}

void RecordingPrivilegedRunner::runAdmin(const std::string& command) {
  adminCommands.push_back(command);
  ++authorizations;
  if (shouldFailAdmin) throw EngineError::io("stub admin failure");
  if (executeAdminCommands) execute(command);
}

AdminStepErrors RecordingPrivilegedRunner::runAdminBatch(
    const std::vector<AdminStep>& steps, const std::function<void(const std::string&)>& onStepFinished) {
  for (const auto& step : steps) adminCommands.push_back(step.command);
  ++authorizations;
  if (shouldFailAdmin) throw EngineError::io("stub admin failure");
  AdminStepErrors errors;
  for (const auto& step : steps) {
    if (stop.stop_requested()) {
      errors[step.id] = L10n::translate(kNotStartedReason);
      continue;
    }
    if (executeAdminCommands) {
      try {
        execute(step.command);
      } catch (const EngineError& error) {
        errors[step.id] = error.message();
      }
    }
    if (onStepFinished) onStepFinished(step.id);
  }
  return errors;
}

void RecordingPrivilegedRunner::runUser(const std::string& executable, const std::vector<std::string>& arguments) {
  userCommands.emplace_back(executable, arguments);
}

}  // namespace tidyloom
