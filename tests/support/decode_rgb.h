#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qvtest {

// A picture of three components of 8 bits, rows packed.
struct SRgbPicture {
  std::uint32_t width = 0, height = 0;
  std::vector<std::uint8_t> pixels;

  const std::uint8_t* Pixel(std::uint32_t x, std::uint32_t y) const {
    return &pixels[(std::size_t{y} * width + x) * 3];
  }
};

// Decoded by libjpeg and libpng themselves. A damaged JPEG file ends the program; a damaged PNG file throws
// std::runtime_error.
SRgbPicture DecodeJpeg(std::span<const std::uint8_t> bytes);
SRgbPicture DecodePng(std::span<const std::uint8_t> bytes);

}  // namespace qvtest
