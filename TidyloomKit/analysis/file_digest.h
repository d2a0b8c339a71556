// SHA-256 of a byte range of a file, read with positioned reads, plus the file's (device, inode).
#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace tidyloom {

// The file system's identity of an opened file: hard links share it.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  auto operator<=>(const FileIdentity&) const = default;
};

struct FileRead {
  std::string digest;  // lower-case hexadecimal SHA-256
  FileIdentity identity;
};

// Size of the read buffer, and of the head that the first comparison step hashes.
inline constexpr std::uint64_t kDigestBlock = 65536;

// Called after every read with its byte count; returning false gives up the read.
using ReadObserver = std::function<bool(std::uint64_t bytes)>;

// Opens `path` read-only without following a final link (nor touching its access date) and hashes bytes [offset, end).
// Nullopt when the file cannot be opened or read, is no longer a regular file of `expectedSize` bytes (it changed since
// it was listed), or the observer gave up.
std::optional<FileRead> digestFileRange(const std::string& path, std::uint64_t expectedSize, std::uint64_t offset,
                                        std::uint64_t end, const ReadObserver& observer);

// SHA-256 of `data`, lower-case hexadecimal.
std::string sha256Hex(std::string_view data);

}  // namespace tidyloom
