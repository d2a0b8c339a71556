// Bars of relative size for the disk listings of `analyze`, `overview` and `lens`.
#pragma once

#include <cstdint>
#include <string>

namespace tidyloom::cli {

// A bar of `width` cells filled in proportion to part/whole (eighths of a cell, so small parts
// still show), followed by the share in percent.
std::string sizeBar(std::uint64_t part, std::uint64_t whole, int width = 20);
std::string sizeShare(std::uint64_t part, std::uint64_t whole);

}  // namespace tidyloom::cli
