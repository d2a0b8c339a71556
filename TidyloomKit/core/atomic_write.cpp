// Atomic whole-file writes with POSIX calls, so durability does not depend on stream buffering.
#include "core/atomic_write.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <mutex>
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

std::mutex& noticeLock() {
  static std::mutex lock;
  return lock;
}

std::function<void(const std::string&)>& noticeHook() {
  static std::function<void(const std::string&)> hook;
  return hook;
}

void notice(const std::string& message) {
  const std::lock_guard lock(noticeLock());
  if (noticeHook()) noticeHook()(message);
}

std::string utcStamp() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  ::gmtime_r(&now, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &utc);
  return text;
}

void writeAtomically(const std::filesystem::path& destination, std::string_view contents, mode_t mode);

}  // namespace

void writeFileAtomically(const std::filesystem::path& destination, std::string_view contents) {
  writeAtomically(destination, contents, 0644);
}

void setStoreNoticeHook(std::function<void(const std::string&)> hook) {
  const std::lock_guard lock(noticeLock());
  noticeHook() = std::move(hook);
}

void writeStoreFile(const std::filesystem::path& destination, std::string_view contents,
                    const std::function<bool(const std::string&)>& decodes) {
  std::error_code ec;
  // A store file that is a link is written where the link points, and stays a link.
  const auto target =
      std::filesystem::is_symlink(destination, ec) ? std::filesystem::weakly_canonical(destination, ec) : destination;
  struct stat info {};
  const bool exists = ::stat(target.c_str(), &info) == 0;
  std::string current;
  if (exists && readWholeFile(target, current) && !current.empty() && !decodes(current)) {
    const auto kept = target.string() + ".corrupt-" + utcStamp();
    const int fd = ::open(kept.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0 || !writeAll(fd, current) || ::fsync(fd) != 0) {
      const int error = errno;
      if (fd >= 0) ::close(fd);
      // Never overwrite the only copy of bytes we could not keep.
      fail(destination, error);
    }
    ::close(fd);
    notice(L10n::translate("无法读取 %@，已保留原文件为 %@", {target.string(), kept}));
  }
  writeAtomically(target, contents, exists ? (info.st_mode & 07777) : 0644);
}

namespace {

void writeAtomically(const std::filesystem::path& destination, std::string_view contents, mode_t mode) {
  std::error_code ec;
  if (destination.has_parent_path()) std::filesystem::create_directories(destination.parent_path(), ec);
  const std::filesystem::path temp =
      destination.parent_path() / ("." + destination.filename().string() + "." + makeUUID() + ".tmp");
  const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0) fail(destination, errno);
  // The mode is set explicitly: the umask must not loosen or tighten what the file had.
  if (::fchmod(fd, mode) != 0) {
    const int error = errno;
    ::close(fd);
    ::unlink(temp.c_str());
    fail(destination, error);
  }
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

}  // namespace

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
