// Lifetime of an open directory, the same on every POSIX system.
#include <unistd.h>

#include "platform/bulk_reader.h"

namespace tidyloom::platform {

DirectoryReader::~DirectoryReader() {
  // Don't retry close on EINTR: the descriptor is released either way on Linux and macOS.
  if (fd_ >= 0) (void)::close(fd_);
}

DirectoryReader& DirectoryReader::operator=(DirectoryReader&& other) noexcept {
  if (this != &other) {
    if (fd_ >= 0) (void)::close(fd_);
    fd_ = std::exchange(other.fd_, -1);
    error_ = other.error_;
    device_ = other.device_;
    mountRoot_ = other.mountRoot_;
  }
  return *this;
}

}  // namespace tidyloom::platform
