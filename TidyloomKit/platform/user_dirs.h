// Where this platform keeps the user's and the system's folders.
#pragma once

#include <filesystem>

namespace tidyloom::platform {

// Home of the real user id from the password database; $HOME when there is no entry.
std::filesystem::path homeFromPasswordDatabase();
std::filesystem::path temporaryDirectory();
std::filesystem::path systemCachesDirectory();  // /Library/Caches; Linux /var/cache
std::filesystem::path systemLogsDirectory();    // /Library/Logs; Linux /var/crash
std::filesystem::path varLogDirectory();        // /private/var/log; Linux /var/log
std::filesystem::path varDBDirectory();         // /private/var/db; Linux /var/lib
std::filesystem::path userCacheDirectory();     // confstr user cache dir; Linux $XDG_CACHE_HOME
std::filesystem::path userStateDirectory();     // confstr user dir; Linux $XDG_STATE_HOME
// The user's base folders as every tool of that user sees them: $XDG_CACHE_HOME, $XDG_CONFIG_HOME
// and $XDG_DATA_HOME on Linux, honoured only when they lie inside `home` (else the XDG defaults in
// it); ~/Library/Caches, ~/Library/Application Support (both) on macOS.
std::filesystem::path userCacheHome(const std::filesystem::path& home);
std::filesystem::path userConfigHome(const std::filesystem::path& home);
std::filesystem::path userDataHome(const std::filesystem::path& home);
// Folder of the application's own data ("Tidyloom" under Application Support; $XDG_DATA_HOME/tidyloom).
std::filesystem::path applicationSupportDirectory(const std::filesystem::path& home);
// The file holding the user defaults (settings.json under $XDG_CONFIG_HOME/tidyloom on Linux).
std::filesystem::path userDefaultsFile(const std::filesystem::path& home);
// ~/.config/tidyloom on every platform.
std::filesystem::path configDirectory(const std::filesystem::path& home);

}  // namespace tidyloom::platform
