// Where the Remover sends items in trash mode: the platform's Trash, or a plain folder in fixture mode.
#pragma once

#include <filesystem>
#include <functional>
#include <system_error>

#include "platform/trash.h"

namespace tidyloom {

// Moves one checked item to a Trash; says where it went, or the errno-style error when it cannot.
using TrashRoute = std::function<platform::TrashMove(const platform::TrashRequest&)>;

// The user's real Trash (freedesktop.org Trash on Linux).
TrashRoute systemTrash();
// A plain folder used as the Trash (DIR/.Trash in fixture mode): items keep their names, with
// " 2", " 3"... before the extension when a name is taken. Never copies across devices.
TrashRoute folderTrash(std::filesystem::path folder);

}  // namespace tidyloom
