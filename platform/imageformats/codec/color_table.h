#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace imageformats {

// The colours of a picture of indices; an index without a colour is black.
struct SColorTable {
  std::array<std::array<std::uint8_t, 3>, 256> colors{};  // R G B
  std::uint32_t count = 0;

  bool IsGrey() const noexcept {
    for (std::uint32_t i = 0; i < count; ++i) {
      if (colors[i][0] != colors[i][1] || colors[i][0] != colors[i][2]) return false;
    }
    return true;
  }
  // `components` is 1 for a grey table, or 3. Returns the place behind what it wrote.
  std::uint8_t* Put(std::uint8_t index, std::uint32_t components, std::uint8_t* out) const noexcept {
    for (std::uint32_t c = 0; c < components; ++c) *out++ = colors[index][c];
    return out;
  }
};

}  // namespace imageformats
