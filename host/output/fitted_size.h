#pragma once

#include <algorithm>
#include <cstdint>

namespace qvhost {

struct SFittedSize {
  std::uint32_t width, height;  // pixels
};

// The size in which a picture fits into a square box: as it is when it fits, else with the box's side as its longer
// one. Never 0.
inline SFittedSize FitIntoSquare(std::uint32_t width, std::uint32_t height, std::uint32_t side) {
  const std::uint32_t longest = std::max(width, height);
  const auto fitted = [&](std::uint32_t pixels) {
    if (longest <= side) return std::max(pixels, 1u);
    return std::max(static_cast<std::uint32_t>(std::uint64_t{pixels} * side / longest), 1u);
  };
  return {fitted(width), fitted(height)};
}

}  // namespace qvhost
