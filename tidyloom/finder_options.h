// Options shared by `large` and `dupes`: the folder to scan, the minimum size, threads, privacy.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include <CLI/CLI.hpp>

#include "context.h"

namespace tidyloom::cli {

struct FinderOptions {
  std::string root;
  std::string minimum;
  int threads = 0;
  bool privacy = false;

  void addTo(CLI::App& command, const char* defaultMinimum);
  // The resolved folder to scan: ROOT, or the home folder (the startup volume's scan root).
  // Throws UsageError for a folder that does not exist, or one outside the fixture in fixture mode.
  std::filesystem::path scanFolder(const Context& context) const;
  std::uint64_t minimumBytes() const;  // throws UsageError
  int threadCount() const;             // throws UsageError
};

}  // namespace tidyloom::cli
