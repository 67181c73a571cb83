#pragma once

#include <cstdint>

struct SFittedSize {
  std::uint32_t width;
  std::uint32_t height;
};

// The largest size of the picture's shape that fits into the box, never 0. Products wrap at 32 bits: sizes of stored
// thumbnails depend on it. The picture's and the box's sides must not be 0.
constexpr SFittedSize FitIntoBox(std::uint32_t width, std::uint32_t height, std::uint32_t boxWidth,
                                 std::uint32_t boxHeight) {
  SFittedSize fitted = {boxWidth, height * boxWidth / width};
  if (fitted.height > boxHeight) fitted = {width * boxHeight / height, boxHeight};
  if (fitted.width == 0) fitted.width = 1;
  if (fitted.height == 0) fitted.height = 1;
  return fitted;
}
