// Size sums that cannot silently wrap: an overflow means a corrupted measure, so it stops the process.
#pragma once

#include <cstdint>
#include <cstdlib>

namespace tidyloom {

inline std::uint64_t checkedSum(std::uint64_t a, std::uint64_t b) {
  std::uint64_t sum = 0;
  if (__builtin_add_overflow(a, b, &sum)) std::abort();
  return sum;
}

}  // namespace tidyloom
