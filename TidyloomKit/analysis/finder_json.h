// JSON of the finders' results: the records' own fields plus the derived ones scripts rely on
// (an item's name, size band and age band; a group's keeper and wasted bytes).
#pragma once

#include <nlohmann/json.hpp>

#include "analysis/duplicate_file_scanner.h"
#include "analysis/large_file_scanner.h"

namespace tidyloom {

// Age bands are relative to `now`.
nlohmann::json toJson(const LargeFileItem& item, FileTime now);
nlohmann::json toJson(const LargeFileScanResult& result, FileTime now);
nlohmann::json toJson(const DuplicateGroup& group, FileTime now);
nlohmann::json toJson(const DuplicateScanResult& result, FileTime now);

}  // namespace tidyloom
