// The two trash routes: the platform's Trash, and a plain folder for fixture trees.
#include "removal/trash_route.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "core/unique_fd.h"

namespace tidyloom {

TrashRoute systemTrash() {
  return [](const platform::TrashRequest& request) { return platform::moveToTrash(request); };
}

TrashRoute folderTrash(std::filesystem::path folder) {
  return [folder = std::move(folder)](const platform::TrashRequest& request) -> platform::TrashMove {
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    UniqueFd trash(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!trash.valid()) return {{errno, std::generic_category()}};
    const std::filesystem::path name(request.name);
    const std::string stem = request.isDirectory ? request.name : name.stem().string();
    const std::string extension = request.isDirectory ? "" : name.extension().string();
    for (int n = 1; n < 100000; ++n) {
      const std::string candidate = n == 1 ? request.name : stem + " " + std::to_string(n) + extension;
      struct stat taken {};
      if (::fstatat(trash.get(), candidate.c_str(), &taken, AT_SYMLINK_NOFOLLOW) == 0) continue;
      // A name taken between the check and the rename is skipped, never overwritten.
      const auto error = platform::renameNoReplace(request.parentFd, request.name, trash.get(), candidate);
      if (!error) return {{}, folder, candidate};
      if (error != std::errc::file_exists) return {error};
    }
    return {std::make_error_code(std::errc::file_exists)};
  };
}

}  // namespace tidyloom
