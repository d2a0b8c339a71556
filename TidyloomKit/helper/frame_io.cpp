// Frame I/O with poll-based deadlines; never raises SIGPIPE.
#include "helper/frame_io.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "helper/helper_protocol.h"

namespace tidyloom {
namespace {

// Waits until `fd` is ready for `events` or the deadline passes.
FrameStatus waitFor(int fd, short events, FrameDeadline deadline) {
  for (;;) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return FrameStatus::timedOut;
    pollfd entry{fd, events, 0};
    const int ready = ::poll(&entry, 1, static_cast<int>(std::min<long long>(left.count(), 60000)));
    if (ready > 0) return FrameStatus::ok;  // errors and hang-ups show up in the following call
    if (ready < 0 && errno != EINTR) return FrameStatus::failed;
  }
}

FrameStatus readExactly(int fd, char* buffer, size_t size, FrameDeadline deadline) {
  for (size_t done = 0; done < size;) {
    if (const auto waited = waitFor(fd, POLLIN, deadline); waited != FrameStatus::ok) return waited;
    const ssize_t n = ::recv(fd, buffer + done, size - done, 0);
    if (n == 0) return FrameStatus::closed;
    if (n < 0) {
      if (errno == EINTR || errno == EAGAIN) continue;
      return errno == ECONNRESET ? FrameStatus::closed : FrameStatus::failed;
    }
    done += static_cast<size_t>(n);
  }
  return FrameStatus::ok;
}

}  // namespace

FrameStatus readFrame(int fd, std::string& body, std::uint32_t limit, FrameDeadline deadline) {
  unsigned char header[kFrameHeaderBytes];
  if (const auto status = readExactly(fd, reinterpret_cast<char*>(header), sizeof header, deadline);
      status != FrameStatus::ok) {
    return status;
  }
  const auto length = frameLength(header, limit);
  if (!length) return FrameStatus::malformed;
  // Memory grows with the bytes that actually arrive, not with the length a peer announces.
  constexpr size_t kChunk = 64 * 1024;
  body.clear();
  while (body.size() < *length) {
    const size_t at = body.size();
    body.resize(std::min<size_t>(*length, at + kChunk));
    if (const auto status = readExactly(fd, body.data() + at, body.size() - at, deadline); status != FrameStatus::ok) {
      body.clear();
      return status;
    }
  }
  return FrameStatus::ok;
}

FrameStatus writeFrame(int fd, std::string_view body, FrameDeadline deadline) {
  const std::string bytes = frame(body);
  for (size_t done = 0; done < bytes.size();) {
    if (const auto waited = waitFor(fd, POLLOUT, deadline); waited != FrameStatus::ok) return waited;
    const ssize_t n = ::send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (n < 0) {
      if (errno == EINTR || errno == EAGAIN) continue;
      return errno == EPIPE || errno == ECONNRESET ? FrameStatus::closed : FrameStatus::failed;
    }
    done += static_cast<size_t>(n);
  }
  return FrameStatus::ok;
}

}  // namespace tidyloom
