// Private mount namespaces for tests that fill system folders (/var/log, /var/lib, ...) without
// touching the machine's own.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace tidyloom::testing {

// Runs `body` in a forked child that has its own mount namespace with a fresh tmpfs on each of
// `folders`; true when `body` returned true. Nothing when such a namespace cannot be made here.
std::optional<bool> inPrivateMounts(const std::vector<std::filesystem::path>& folders,
                                    const std::function<bool()>& body);

}  // namespace tidyloom::testing
