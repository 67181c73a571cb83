#include "platform/imageformats/render/alpha.h"

#include <algorithm>

namespace imageformats {

namespace {

template <class T>
void Lay(const T* row, std::size_t pixels, std::uint32_t colors, bool premultiplied, std::uint32_t white,
         T* out) noexcept {
  for (std::size_t i = 0; i < pixels; ++i, row += colors + 1, out += colors) {
    const std::uint32_t opacity = std::min<std::uint32_t>(row[colors], white);
    const std::uint32_t through = white - opacity;
    for (std::uint32_t k = 0; k < colors; ++k) {
      const std::uint32_t color = row[k];
      // In 64 bits: 65535 * 65535 twice does not fit 32.
      const std::uint64_t laid = (std::uint64_t{color} * opacity + std::uint64_t{white} * through + white / 2) / white;
      out[k] = static_cast<T>(premultiplied ? std::min(color + through, white) : laid);
    }
  }
}

}  // namespace

void BlendOverWhite(const std::uint8_t* row, std::size_t pixels, std::uint32_t colorComponents, bool premultiplied,
                    std::uint8_t* out) noexcept {
  Lay<std::uint8_t>(row, pixels, colorComponents, premultiplied, 255, out);
}

void BlendOverWhite(const std::uint16_t* row, std::size_t pixels, std::uint32_t colorComponents, bool premultiplied,
                    std::uint16_t white, std::uint16_t* out) noexcept {
  Lay<std::uint16_t>(row, pixels, colorComponents, premultiplied, std::max<std::uint32_t>(white, 1), out);
}

}  // namespace imageformats
