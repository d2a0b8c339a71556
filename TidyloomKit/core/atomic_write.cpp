// Atomic whole-file writes with POSIX calls, so durability does not depend on stream buffering.
#include "core/atomic_write.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "core/engine_error.h"
#include "core/uuid.h"
#include "l10n/l10n.h"

namespace tidyloom {
namespace {

[[noreturn]] void fail(const std::filesystem::path& path, int error) {
  throw EngineError::io(L10n::translate("无法写入文件：%@（%@）", {path.string(), std::strerror(error)}));
}

bool writeAll(int fd, std::string_view data) {
  while (!data.empty()) {
    const ssize_t n = ::write(fd, data.data(), data.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data.remove_prefix(static_cast<size_t>(n));
  }
  return true;
}

}  // namespace

void writeFileAtomically(const std::filesystem::path& destination, std::string_view contents) {
  std::error_code ec;
  if (destination.has_parent_path()) std::filesystem::create_directories(destination.parent_path(), ec);
  const std::filesystem::path temp =
      destination.parent_path() / ("." + destination.filename().string() + "." + makeUUID() + ".tmp");
  const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0644);
  if (fd < 0) fail(destination, errno);
  if (!writeAll(fd, contents) || ::fsync(fd) != 0) {
    const int error = errno;
    ::close(fd);
    ::unlink(temp.c_str());
    fail(destination, error);
  }
  if (::close(fd) != 0) {  // Don't retry close on EINTR: the descriptor is gone either way.
    const int error = errno;
    ::unlink(temp.c_str());
    fail(destination, error);
  }
  if (::rename(temp.c_str(), destination.c_str()) != 0) {
    const int error = errno;
    ::unlink(temp.c_str());
    fail(destination, error);
  }
  // Make the rename itself durable.
  const int dirfd = ::open(destination.parent_path().empty() ? "." : destination.parent_path().c_str(),
                           O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dirfd >= 0) {
    (void)::fsync(dirfd);
    ::close(dirfd);
  }
}

bool readWholeFile(const std::filesystem::path& path, std::string& out) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream buffer;
  buffer << in.rdbuf();
  if (in.bad()) return false;
  out = std::move(buffer).str();
  return true;
}

}  // namespace tidyloom
