// ISO 8601 UTC timestamps with whole seconds ("2026-01-02T03:04:05Z"), parsed strictly.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace tidyloom {

using SystemTime = std::chrono::sys_seconds;

std::string formatISO8601(SystemTime time);
// Accepts exactly "YYYY-MM-DDTHH:MM:SSZ"; fractions, offsets or impossible dates give nullopt.
std::optional<SystemTime> parseISO8601(std::string_view text);
SystemTime nowSeconds();

}  // namespace tidyloom
