#pragma once

#include <algorithm>
#include <cstdint>

namespace qvtest {

struct SThumbnailSize {
  std::uint32_t width, height;
};

// The largest size of the picture's shape in a box, at least one pixel.
inline SThumbnailSize FitInto(SThumbnailSize box, std::uint32_t width, std::uint32_t height) {
  const auto scale = [](std::uint64_t a, std::uint64_t b, std::uint64_t c) {
    return static_cast<std::uint32_t>(std::max<std::uint64_t>(a * b / c, 1));
  };
  const std::uint32_t fitted = scale(height, box.width, width);
  if (fitted <= box.height) return {box.width, fitted};
  return {scale(width, box.height, height), box.height};
}

}  // namespace qvtest
