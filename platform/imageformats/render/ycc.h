#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace imageformats {

// Luma and chroma to R G B, in place: ITU-R BT.601 over the full range, as sYCC and JPEG have it. Pixels lie `step`
// samples apart; `white` is full intensity.
template <class T>
void RgbFromYcc(std::size_t pixels, std::uint32_t white, T* out, std::size_t step) noexcept {
  const float most = static_cast<float>(white), half = static_cast<float>((white + 1) / 2);
  const auto rounded = [&](float value) { return static_cast<T>(std::lround(std::clamp(value, 0.0f, most))); };
  for (std::size_t x = 0; x < pixels; ++x, out += step) {
    const float luma = out[0], blue = static_cast<float>(out[1]) - half, red = static_cast<float>(out[2]) - half;
    out[0] = rounded(luma + 1.402f * red);
    out[1] = rounded(luma - 0.344136f * blue - 0.714136f * red);
    out[2] = rounded(luma + 1.772f * blue);
  }
}

}  // namespace imageformats
