// HeldFiles: whether running processes hold a path open (a file, or anything inside a folder), so
// that a log being written or a cache in use is left where it is.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/open_files.h"

namespace tidyloom {

class HeldFiles {
 public:
  // Asks the live system. The table of open files is read once, when a folder first needs it, and
  // kept for the life of this object: make one per preview or run.
  static HeldFiles live();
  // Nothing is ever held (fixture trees, where no live process counts).
  static HeldFiles none();

  struct Answer {
    platform::OpenState state = platform::OpenState::closed;
    std::vector<std::string> processNames;  // when held and the holders could be named
  };
  // A symbolic link is never held (removing it leaves its target alone). Undetermined when the
  // processes cannot be looked at.
  Answer check(const std::string& path) const;

 private:
  struct Table;
  explicit HeldFiles(bool live);
  bool live_ = false;
  std::shared_ptr<Table> table_;
};

}  // namespace tidyloom
