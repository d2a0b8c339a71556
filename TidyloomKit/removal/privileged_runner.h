// PrivilegedRunning: commands with administrator rights; the real runner and a recording one.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/scan_progress.h"

namespace tidyloom {

class AdminShellSession;

struct AdminStep {
  std::string id;
  std::string command;  // one shell command line
  bool operator==(const AdminStep&) const = default;
};

// Why each failed step failed, per step id: a step fails when it exits with a non-zero status or
// never finishes; the reason is what it wrote to standard error, else its exit status.
using AdminStepErrors = std::map<std::string, std::string>;

class PrivilegedRunning {
 public:
  virtual ~PrivilegedRunning() = default;
  // Once a stop is requested, the steps of a batch not yet started are skipped (kNotStartedReason).
  CancellationToken stop;
  // Throws EngineError::io when authorisation is refused or cancelled, or the command fails.
  virtual void runAdmin(const std::string& command) = 0;
  // Runs every step under one authorisation, in order; a failing step does not stop the others.
  // `onStepFinished` is called once per finished step id. Throws only for authorisation failures.
  virtual AdminStepErrors runAdminBatch(const std::vector<AdminStep>& steps,
                                        const std::function<void(const std::string&)>& onStepFinished) = 0;
  virtual void runUser(const std::string& executable, const std::vector<std::string>& arguments) = 0;
};

// Single-quotes `text` for a POSIX shell: ' becomes '\''.
std::string shellQuoted(const std::string& text);

class PrivilegedRunner : public PrivilegedRunning {
 public:
  explicit PrivilegedRunner(std::shared_ptr<AdminShellSession> session);
  // The application's shared administrator shell.
  static PrivilegedRunner live();

  void runAdmin(const std::string& command) override;
  AdminStepErrors runAdminBatch(const std::vector<AdminStep>& steps,
                                const std::function<void(const std::string&)>& onStepFinished) override;
  void runUser(const std::string& executable, const std::vector<std::string>& arguments) override;

 private:
  std::shared_ptr<AdminShellSession> session_;
};

// Records what would run (and how many prompts it would take) instead of running it.
class RecordingPrivilegedRunner : public PrivilegedRunning {
 public:
  std::vector<std::string> adminCommands;
  int authorizations = 0;
  std::vector<std::pair<std::string, std::vector<std::string>>> userCommands;
  bool shouldFailAdmin = false;
  // Also runs each recorded command with /bin/sh as the current user.
  bool executeAdminCommands = false;

  void runAdmin(const std::string& command) override;
  AdminStepErrors runAdminBatch(const std::vector<AdminStep>& steps,
                                const std::function<void(const std::string&)>& onStepFinished) override;
  void runUser(const std::string& executable, const std::vector<std::string>& arguments) override;

 private:
  void execute(const std::string& command) const;
};

}  // namespace tidyloom
