// SHA-256 through OpenSSL's EVP interface, which picks the processor's SHA instructions when present.
#include "analysis/file_digest.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>

#include "platform/file_reading.h"

namespace tidyloom {
namespace {

struct DigestContextFree {
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
using DigestContext = std::unique_ptr<EVP_MD_CTX, DigestContextFree>;

struct FileCloser {
  int fd;
  ~FileCloser() { ::close(fd); }  // never retried on EINTR: the descriptor is gone either way
};

std::string hex(const unsigned char* bytes, unsigned length) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text(length * 2, '0');
  for (unsigned i = 0; i < length; ++i) {
    text[2 * i] = kDigits[bytes[i] >> 4];
    text[2 * i + 1] = kDigits[bytes[i] & 0xF];
  }
  return text;
}

// One context per thread, reset for every file, saves an allocation per file.
EVP_MD_CTX* threadContext() {
  thread_local DigestContext context(EVP_MD_CTX_new());
  return context.get();
}

std::optional<std::string> finish(EVP_MD_CTX* context) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned length = 0;
  if (EVP_DigestFinal_ex(context, digest.data(), &length) != 1) return std::nullopt;
  return hex(digest.data(), length);
}

}  // namespace

std::optional<FileRead> digestFileRange(const std::string& path, std::uint64_t expectedSize, std::uint64_t offset,
                                        std::uint64_t end, const ReadObserver& observer) {
  const int fd = platform::openForContentRead(path.c_str());
  if (fd < 0) return std::nullopt;
  const FileCloser closer{fd};
  struct stat status {};
  if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) ||
      static_cast<std::uint64_t>(status.st_size) != expectedSize) {
    return std::nullopt;
  }
  EVP_MD_CTX* context = threadContext();
  if (context == nullptr || EVP_DigestInit_ex(context, EVP_sha256(), nullptr) != 1) return std::nullopt;
  thread_local std::array<unsigned char, kDigestBlock> buffer;
  for (std::uint64_t position = offset; position < end;) {
    const size_t want = static_cast<size_t>(std::min<std::uint64_t>(buffer.size(), end - position));
    const ssize_t got = ::pread(fd, buffer.data(), want, static_cast<off_t>(position));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return std::nullopt;  // an error, or the file shrank under us
    if (EVP_DigestUpdate(context, buffer.data(), static_cast<size_t>(got)) != 1) return std::nullopt;
    position += static_cast<std::uint64_t>(got);
    if (observer && !observer(static_cast<std::uint64_t>(got))) return std::nullopt;
  }
  auto digest = finish(context);
  if (!digest) return std::nullopt;
  return FileRead{std::move(*digest),
                  {static_cast<std::uint64_t>(status.st_dev), static_cast<std::uint64_t>(status.st_ino)}};
}

std::string sha256Hex(std::string_view data) {
  EVP_MD_CTX* context = threadContext();
  if (EVP_DigestInit_ex(context, EVP_sha256(), nullptr) != 1 ||
      EVP_DigestUpdate(context, data.data(), data.size()) != 1) {
    return {};
  }
  return finish(context).value_or(std::string{});
}

}  // namespace tidyloom
