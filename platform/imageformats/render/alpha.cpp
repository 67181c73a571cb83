#include "platform/imageformats/render/alpha.h"

#include <algorithm>
#include <type_traits>

namespace imageformats {

namespace {

// `paper` is the value of white, 0 or `opaque`. Colors: a number, or a constant, of which compilers make better loops.
template <class T, class Colors>
void LayPixels(const T* row, std::size_t pixels, Colors colors, bool premultiplied, std::uint32_t opaque,
               std::uint32_t paper, T* out) noexcept {
  // 65535 * 65535 twice does not fit 32 bits.
  using Product = std::conditional_t<sizeof(T) == 1, std::uint32_t, std::uint64_t>;
  for (std::size_t i = 0; i < pixels; ++i, row += colors + 1, out += colors) {
    const std::uint32_t opacity = std::min<std::uint32_t>(row[colors], opaque);
    const std::uint32_t through = opaque - opacity;
    for (std::uint32_t k = 0; k < colors; ++k) {
      const std::uint32_t color = row[k];
      const Product laid = (Product{color} * opacity + Product{paper} * through + opaque / 2) / opaque;
      out[k] = static_cast<T>(premultiplied ? std::min(color + (paper == 0 ? 0 : through), opaque) : laid);
    }
  }
}

template <class T>
void Lay(const T* row, std::size_t pixels, std::uint32_t colors, bool premultiplied, std::uint32_t opaque,
         std::uint32_t paper, T* out) noexcept {
  switch (colors) {
    case 1:
      return LayPixels(row, pixels, std::integral_constant<std::uint32_t, 1>(), premultiplied, opaque, paper, out);
    case 3:
      return LayPixels(row, pixels, std::integral_constant<std::uint32_t, 3>(), premultiplied, opaque, paper, out);
    default:
      return LayPixels(row, pixels, colors, premultiplied, opaque, paper, out);
  }
}

// Pixels of no number as opacity are opaque.
template <class T>
void LayFloat(const T* row, std::size_t pixels, std::uint32_t colors, bool premultiplied, T* out) noexcept {
  for (std::size_t i = 0; i < pixels; ++i, row += colors + 1, out += colors) {
    const T opacity = row[colors] >= T{0} ? std::min(row[colors], T{1}) : row[colors] < T{0} ? T{0} : T{1};
    for (std::uint32_t k = 0; k < colors; ++k) {
      // What is not seen may be no number.
      const T color = premultiplied ? row[k] : opacity > T{0} ? row[k] * opacity : T{0};
      out[k] = color + (T{1} - opacity);
    }
  }
}

}  // namespace

void BlendOverWhite(const std::uint8_t* row, std::size_t pixels, std::uint32_t colorComponents, bool premultiplied,
                    std::uint8_t* out) noexcept {
  Lay<std::uint8_t>(row, pixels, colorComponents, premultiplied, 255, 255, out);
}

void BlendOverWhite(const std::uint16_t* row, std::size_t pixels, std::uint32_t colorComponents, bool premultiplied,
                    std::uint16_t white, std::uint16_t* out) noexcept {
  const std::uint32_t opaque = std::max<std::uint32_t>(white, 1);
  Lay<std::uint16_t>(row, pixels, colorComponents, premultiplied, opaque, opaque, out);
}

void BlendOverWhite(const float* row, std::size_t pixels, std::uint32_t colorComponents, bool premultiplied,
                    float* out) noexcept {
  LayFloat(row, pixels, colorComponents, premultiplied, out);
}

void BlendOverWhite(const double* row, std::size_t pixels, std::uint32_t colorComponents, bool premultiplied,
                    double* out) noexcept {
  LayFloat(row, pixels, colorComponents, premultiplied, out);
}

void BlendOverPaper(const std::uint8_t* row, std::size_t pixels, std::uint32_t inks, bool premultiplied,
                    std::uint8_t* out) noexcept {
  Lay<std::uint8_t>(row, pixels, inks, premultiplied, 255, 0, out);
}

void BlendOverPaper(const std::uint16_t* row, std::size_t pixels, std::uint32_t inks, bool premultiplied,
                    std::uint16_t opaque, std::uint16_t* out) noexcept {
  Lay<std::uint16_t>(row, pixels, inks, premultiplied, std::max<std::uint32_t>(opaque, 1), 0, out);
}

}  // namespace imageformats
