// macOS folder bookmarks through CoreFoundation's URL bookmark data.
#include <CoreFoundation/CoreFoundation.h>

#include "platform/folder_bookmark.h"

namespace tidyloom::platform {
namespace {

CFURLRef folderURL(const std::string& path) {
  return CFURLCreateFromFileSystemRepresentation(nullptr, reinterpret_cast<const UInt8*>(path.data()),
                                                 static_cast<CFIndex>(path.size()), true);
}

}  // namespace

std::optional<std::string> makeFolderBookmark(const std::string& path) {
  CFURLRef url = folderURL(path);
  if (url == nullptr) return std::nullopt;
  CFDataRef data =
      CFURLCreateBookmarkData(nullptr, url, kCFURLBookmarkCreationWithSecurityScope, nullptr, nullptr, nullptr);
  if (data == nullptr) data = CFURLCreateBookmarkData(nullptr, url, 0, nullptr, nullptr, nullptr);
  CFRelease(url);
  if (data == nullptr) return std::nullopt;
  std::string bytes(reinterpret_cast<const char*>(CFDataGetBytePtr(data)), static_cast<size_t>(CFDataGetLength(data)));
  CFRelease(data);
  return bytes;
}

std::optional<std::string> resolveFolderBookmark(const std::string& bookmark) {
  CFDataRef data =
      CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bookmark.data()), static_cast<CFIndex>(bookmark.size()));
  if (data == nullptr) return std::nullopt;
  Boolean stale = false;
  CFURLRef url = CFURLCreateByResolvingBookmarkData(
      nullptr, data, kCFURLBookmarkResolutionWithSecurityScope | kCFURLBookmarkResolutionWithoutUIMask, nullptr,
      nullptr, &stale, nullptr);
  if (url == nullptr) {
    url = CFURLCreateByResolvingBookmarkData(nullptr, data, kCFURLBookmarkResolutionWithoutUIMask, nullptr, nullptr,
                                             &stale, nullptr);
  }
  CFRelease(data);
  if (url == nullptr) return std::nullopt;
  UInt8 buffer[4096];
  const bool ok = CFURLGetFileSystemRepresentation(url, true, buffer, sizeof buffer);
  CFRelease(url);
  if (!ok) return std::nullopt;
  return std::string(reinterpret_cast<const char*>(buffer));
}

}  // namespace tidyloom::platform
