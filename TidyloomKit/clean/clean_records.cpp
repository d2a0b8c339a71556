// Raw names and JSON coding of the preview records (keys are the field names).
#include "clean/clean_records.h"

#include <array>
#include <nlohmann/json.hpp>

#include "core/json_coding.h"

namespace tidyloom {
namespace {

constexpr std::array<std::pair<CleanSurface, std::string_view>, 6> kSurfaceNames{{
    {CleanSurface::developer, "developer"},
    {CleanSurface::dependencies, "dependencies"},
    {CleanSurface::simulators, "simulators"},
    {CleanSurface::projectCaches, "projectCaches"},
    {CleanSurface::logs, "logs"},
    {CleanSurface::general, "general"},
}};

}  // namespace

std::string_view rawValue(CleanSurface surface) {
  for (const auto& [value, name] : kSurfaceNames) {
    if (value == surface) return name;
  }
  return "general";
}

std::optional<CleanSurface> surfaceFromRaw(std::string_view raw) {
  for (const auto& [value, name] : kSurfaceNames) {
    if (name == raw) return value;
  }
  return std::nullopt;
}

const SurfaceSet& allSurfaces() {
  static const SurfaceSet all{CleanSurface::developer,     CleanSurface::dependencies, CleanSurface::simulators,
                              CleanSurface::projectCaches, CleanSurface::logs,         CleanSurface::general};
  return all;
}

std::uint64_t candidateBytes(const PreviewReport& report) {
  std::uint64_t total = 0;
  for (const auto& candidate : report.candidates) total += candidate.byteSize;
  return total;
}

void to_json(nlohmann::json& j, CleanSurface value) { j = std::string(rawValue(value)); }

void to_json(nlohmann::json& j, const OwnerCachePlan& value) {
  j = {{"task", value.task}, {"paths", value.paths}, {"byteSize", value.byteSize}};
}
void from_json(const nlohmann::json& j, OwnerCachePlan& value) {
  j.at("task").get_to(value.task);
  j.at("paths").get_to(value.paths);
  value.byteSize = j.value("byteSize", std::uint64_t{0});
}

void to_json(nlohmann::json& j, const ReviewItem& value) {
  j = {{"path", value.path},
       {"title", value.title},
       {"section", value.section},
       {"byteSize", value.byteSize},
       {"detail", value.detail},
       {"explicitSelectionAllowed", value.explicitSelectionAllowed},
       {"marksIncompleteScan", value.marksIncompleteScan}};
}
void from_json(const nlohmann::json& j, ReviewItem& value) {
  j.at("path").get_to(value.path);
  value.title = j.value("title", std::string());
  value.section = j.value("section", std::string());
  value.byteSize = j.value("byteSize", std::uint64_t{0});
  value.detail = j.value("detail", std::string());
  value.explicitSelectionAllowed = j.value("explicitSelectionAllowed", false);
  value.marksIncompleteScan = j.value("marksIncompleteScan", false);
}

void to_json(nlohmann::json& j, const AppHeldCandidate& value) {
  j = {{"candidate", value.candidate}, {"appNames", value.appNames}, {"bundleIdentifiers", value.bundleIdentifiers}};
}
void from_json(const nlohmann::json& j, AppHeldCandidate& value) {
  j.at("candidate").get_to(value.candidate);
  value.appNames = j.value("appNames", std::vector<std::string>());
  value.bundleIdentifiers = j.value("bundleIdentifiers", std::vector<std::string>());
}

void to_json(nlohmann::json& j, const PreviewReport& value) {
  j = {{"feature", std::string(rawValue(value.feature))},
       {"candidates", value.candidates},
       {"ownerCaches", value.ownerCaches},
       {"interrupted", value.interrupted},
       {"reviewItems", value.reviewItems},
       {"appHeld", value.appHeld}};
}
void from_json(const nlohmann::json& j, PreviewReport& value) {
  value = {};
  if (const auto feature = tidyloomFeatureFromRaw(j.value("feature", std::string("clean")))) value.feature = *feature;
  if (j.contains("candidates")) j.at("candidates").get_to(value.candidates);
  if (j.contains("ownerCaches")) j.at("ownerCaches").get_to(value.ownerCaches);
  value.interrupted = j.value("interrupted", false);
  if (j.contains("reviewItems")) j.at("reviewItems").get_to(value.reviewItems);
  if (j.contains("appHeld")) j.at("appHeld").get_to(value.appHeld);
}

}  // namespace tidyloom
