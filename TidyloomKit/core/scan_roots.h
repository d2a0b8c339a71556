// ScanRoots: the root folders that scans and protection checks start from; RealHome: the user's home.
#pragma once

#include <filesystem>
#include <string>

namespace tidyloom {

struct ScanRoots {
  std::filesystem::path home;
  std::filesystem::path temporary;
  std::filesystem::path systemLibraryCaches;
  std::filesystem::path systemLibraryLogs;
  std::filesystem::path privateVarLog;
  std::filesystem::path privateVarDB;
  std::filesystem::path darwinUserCache;
  std::filesystem::path darwinUserDirectory;

  // The machine's real roots. On Linux each field is the folder that plays the same role
  // (/var/cache, /var/crash, /var/log, /var/lib, the XDG cache and state folders).
  static ScanRoots live();
  // The whole system shaped like macOS under `dir`, whatever the host.
  static ScanRoots fixture(const std::filesystem::path& dir);

  bool operator==(const ScanRoots&) const = default;
};

// The real user's home folder from the password database, computed once per process.
struct RealHome {
  static const std::filesystem::path& url();
  static std::string path() { return url().string(); }
};

}  // namespace tidyloom
