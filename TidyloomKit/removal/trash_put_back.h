// Putting trashed items back where they were: the very item that was moved (same device and inode)
// comes back to its path, or beside it under a new name when that path is taken again; its Trash
// record goes with it. What is no longer in the Trash is reported, never guessed at.
#pragma once

#include <string>

#include "core/records.h"

namespace tidyloom {

struct PutBack {
  enum class State {
    restored,        // back at its own path
    restoredBeside,  // its path was taken: back beside it under a new name
    notInTrash,      // emptied, put back by another program, or never known to this record
    failed,          // still in the Trash; `reason` says why it could not come back
  };
  State state = State::failed;
  std::string destination;  // where it lies now, or would lie
  std::string reason;       // localised, for notInTrash and failed

  // Whether `item` is still in its Trash, the same item that was moved there.
  static bool stillTrashed(const TrashedItem& item);
  // Where the item would come back now (a dry run): its path, or the first free name beside it.
  // `state` is restored, restoredBeside or notInTrash; nothing is changed.
  static PutBack preview(const TrashedItem& item);
  // Moves the item back. Missing parent folders are made again; a parent that is now a link is
  // not followed (the item stays in the Trash).
  static PutBack restore(const TrashedItem& item);
};

}  // namespace tidyloom
