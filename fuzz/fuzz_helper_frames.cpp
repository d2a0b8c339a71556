// Fuzz target: the daemon's frame reader and request parser, and the client's reply decoders.
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "core/engine_error.h"
#include "helper/frame_io.h"
#include "helper/helper_protocol.h"

using namespace tidyloom;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  // The bytes as they would arrive on a connection: a frame header, then the body.
  int ends[2];
  if (size <= 60000 && ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0) {
    (void)!::write(ends[0], data, size);
    ::shutdown(ends[0], SHUT_WR);
    std::string body;
    if (readFrame(ends[1], body, FrameLimits::kMaxRequestBytes, std::chrono::steady_clock::now()) == FrameStatus::ok) {
      (void)parseRequest(body);
    }
    ::close(ends[0]);
    ::close(ends[1]);
  }
  if (const auto request = parseRequest(bytes)) {
    // What parses must survive the round trip unchanged.
    const auto again = parseRequest(encodeRequest(*request));
    if (!again || again->index() != request->index()) __builtin_trap();
  }
  (void)parseReply(bytes);
  (void)jsonNestingDepth(bytes, 64);
  try {
    (void)decodeRemoval(bytes);
  } catch (const EngineError&) {
  }
  try {
    (void)decodeCandidates(bytes);
  } catch (const EngineError&) {
  }
  return 0;
}
