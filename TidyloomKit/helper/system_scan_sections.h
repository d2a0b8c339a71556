// The sections of the system clean scan as data: one root and one rule each, shared by the walk
// and by the re-check at removal time.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "helper/system_clean_scanner.h"

namespace tidyloom::system_scan {

enum class SectionKind {
  systemCacheFiles,
  privateVarLogs,
  namedCache,
  systemLogs,
  privateDatabase,
  gpuCache,
  timeMachine
};

const char* areaName(SectionKind kind);

// Folders at `maxDepth` below the root are listed but not entered, so files lie at most that deep.
inline constexpr int kMaxDepth = 3;

struct Section {
  SectionKind kind;
  std::filesystem::path root;
  int maxDepth = kMaxDepth;
  std::set<std::string> extensions;  // empty: any file
  std::int64_t ageDays = 7;
  bool rejectsLiveFolder = false;
  bool privileged = true;
  bool rotatedOnly = false;  // only logs that were rotated away
};

enum class Verdict { offered, notInSection, wrongType, tooDeep, tooNew, liveData, inUse };

// A log name that its rotation gave it: a number, a date or ".old" at the end, or compressed.
bool isRotatedLogName(std::string_view name);

std::vector<Section> privilegedSections(const SystemCleanScanner& scanner, bool includesRebuildableCaches);
std::vector<Section> userDomainSections(const SystemCleanScanner& scanner);

// Judges one entry, given its components below the section root and its lstat result (size is
// measured separately), at the time of the scan or re-check.
Verdict judge(const Section& section, const std::vector<std::string>& components, const struct stat& info,
              std::int64_t nowNanoseconds);

}  // namespace tidyloom::system_scan
