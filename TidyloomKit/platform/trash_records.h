// The freedesktop.org Trash's records kept by descriptor: the folder-size cache. Shared by the
// move into a Trash and by the clean-up after an item left it.
#pragma once

#include <unistd.h>

#include <optional>
#include <string>
#include <utility>

#include "platform/trash_format.h"

namespace tidyloom::platform {

// One descriptor of the Trash code, closed once.
class Fd {
 public:
  explicit Fd(int fd = -1) : fd_(fd) {}
  Fd(Fd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Fd& operator=(Fd&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  ~Fd() {
    if (fd_ >= 0) (void)::close(fd_);
  }
  int get() const { return fd_; }
  bool valid() const { return fd_ >= 0; }

 private:
  int fd_;
};

// Writes all of `data`, going on after interruptions; false on any error.
bool writeAll(int fd, const std::string& data);
// Reads to the end; what could be read.
std::string readAll(int fd);

// Rewrites "directorysizes" in the Trash folder `rootFd` in one step: lines of items no longer in
// `filesFd` go, and so does the line of `drop`; `add`, when given, is appended. Best effort: the
// cache is only a speed-up for file browsers.
void rewriteDirectorySizes(int rootFd, int filesFd, const std::string& drop,
                           const std::optional<DirectorySizeEntry>& add);

}  // namespace tidyloom::platform
