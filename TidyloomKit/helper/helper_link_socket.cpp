// The client's end of the daemon's local socket: connect, check the peer is root, one frame each way.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <thread>

#include "helper/frame_io.h"
#include "helper/helper_link.h"
#include "l10n/l10n.h"
#include "platform/peer_identity.h"

namespace tidyloom {
namespace {

// Far enough for the longest call (600 s); the client's own deadline ends the wait sooner.
constexpr auto kLinkLifetime = std::chrono::seconds(900);
constexpr auto kSendTimeout = std::chrono::seconds(30);

class SocketHelperLink : public HelperLink {
 public:
  explicit SocketHelperLink(std::string socketPath) : socketPath_(std::move(socketPath)) {}
  ~SocketHelperLink() override { invalidate(); }

  bool send(const HelperRequest& request, ReplyHandler reply, ErrorHandler error) override {
    if (socketPath_.size() >= sizeof(sockaddr_un{}.sun_path)) return false;
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0) return false;
    (void)::fcntl(fd, F_SETFD, FD_CLOEXEC);
    {
      std::lock_guard guard(lock_);
      fd_ = fd;
    }
    worker_ = std::thread([this, body = encodeRequest(request), reply = std::move(reply), error = std::move(error)] {
      exchange(body, reply, error);
    });
    return true;
  }

  void finishEarly() override {
    std::lock_guard guard(lock_);
    if (fd_ >= 0) (void)::shutdown(fd_, SHUT_WR);  // the daemon reads an end; the reply can still come
  }

  void invalidate() override {
    {
      std::lock_guard guard(lock_);
      if (fd_ >= 0) (void)::shutdown(fd_, SHUT_RDWR);  // wakes the worker out of its wait
    }
    if (worker_.joinable()) worker_.join();
    std::lock_guard guard(lock_);
    if (fd_ >= 0) (void)::close(fd_);
    fd_ = -1;
  }

 private:
  void exchange(const std::string& body, const ReplyHandler& reply, const ErrorHandler& error) const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, socketPath_.c_str(), socketPath_.size() + 1);
    if (::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      error(L10n::translate("无法连接到系统权限助手的套接字 %@：%@", {socketPath_, std::strerror(errno)}));
      return;
    }
    // Anyone could have bound a socket at a path we were told about; only root's daemon may answer.
    if (platform::socketPeerUid(fd_) != 0u) {
      error(L10n::translate("系统权限助手的套接字不属于 root：%@", {socketPath_}));
      return;
    }
    const auto start = std::chrono::steady_clock::now();
    if (writeFrame(fd_, body, start + kSendTimeout) != FrameStatus::ok) {
      error(L10n::translate("系统权限助手拒绝了连接"));
      return;
    }
    std::string answer;
    switch (readFrame(fd_, answer, FrameLimits::kMaxReplyBytes, start + kLinkLifetime)) {
      case FrameStatus::ok:
        break;
      case FrameStatus::closed:
        error(L10n::translate("系统权限助手拒绝了连接"));
        return;
      default:
        reply(std::nullopt, std::nullopt);  // garbage or an oversized answer: the caller reports invalid data
        return;
    }
    auto parsed = parseReply(answer);
    if (!parsed) {
      reply(std::nullopt, std::nullopt);
      return;
    }
    reply(std::move(parsed->bytes), std::move(parsed->message));
  }

  std::string socketPath_;
  std::mutex lock_;
  int fd_ = -1;
  std::thread worker_;
};

}  // namespace

std::unique_ptr<HelperLink> makeSocketHelperLink(std::string socketPath) {
  return std::make_unique<SocketHelperLink>(std::move(socketPath));
}

}  // namespace tidyloom
