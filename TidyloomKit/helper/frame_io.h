// Reading and writing length-prefixed frames on a stream socket, each bounded in size and time.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace tidyloom {

enum class FrameStatus { ok, closed, timedOut, malformed, failed };
using FrameDeadline = std::chrono::steady_clock::time_point;

// Reads one frame whose body is at most `limit` bytes. `closed`: the peer ended the stream (before
// or inside the frame); `malformed`: a zero or oversized length.
FrameStatus readFrame(int fd, std::string& body, std::uint32_t limit, FrameDeadline deadline);
FrameStatus writeFrame(int fd, std::string_view body, FrameDeadline deadline);

}  // namespace tidyloom
