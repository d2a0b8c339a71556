// FullDiskAccess: whether this process may read the privacy-protected parts of a Mac.
#pragma once

#include <filesystem>

namespace tidyloom {

struct FullDiskAccess {
  // True as soon as one of the privacy database files or the home's Safari or Mail folders opens
  // for reading. `home` is the real home unless given. Always false where those do not exist.
  static bool isGranted(const std::filesystem::path& home = {});
};

}  // namespace tidyloom
