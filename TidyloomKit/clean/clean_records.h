// Raw names of the scan surfaces and JSON coding of the preview records.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "clean/preview_types.h"

namespace tidyloom {

using SurfaceSet = std::set<CleanSurface>;

std::string_view rawValue(CleanSurface surface);
std::optional<CleanSurface> surfaceFromRaw(std::string_view raw);
const SurfaceSet& allSurfaces();

std::uint64_t candidateBytes(const PreviewReport& report);

void to_json(nlohmann::json& j, CleanSurface value);
void to_json(nlohmann::json& j, const OwnerCachePlan& value);
void from_json(const nlohmann::json& j, OwnerCachePlan& value);
void to_json(nlohmann::json& j, const ReviewItem& value);
void from_json(const nlohmann::json& j, ReviewItem& value);
void to_json(nlohmann::json& j, const AppHeldCandidate& value);
void from_json(const nlohmann::json& j, AppHeldCandidate& value);
void to_json(nlohmann::json& j, const PreviewReport& value);
void from_json(const nlohmann::json& j, PreviewReport& value);

}  // namespace tidyloom
