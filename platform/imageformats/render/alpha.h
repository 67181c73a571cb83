#pragma once

#include <cstddef>
#include <cstdint>

namespace imageformats {

// Lays pixels over white before they are averaged, so that transparent pixels do not bleed their colour. `row` holds
// `pixels` pixels of colorComponents + 1 samples, the last being opacity; the colours go, packed, to `out`, which may
// be `row` itself. `white` is the sample value of white and of full opacity (255, 65535). `premultiplied`: the colours
// are already multiplied by the opacity.
void BlendOverWhite(const std::uint8_t* row, std::size_t pixels, std::uint32_t colorComponents, bool premultiplied,
                    std::uint8_t* out) noexcept;
void BlendOverWhite(const std::uint16_t* row, std::size_t pixels, std::uint32_t colorComponents, bool premultiplied,
                    std::uint16_t white, std::uint16_t* out) noexcept;
// Of floating point, 1 is white and opaque.
void BlendOverWhite(const float* row, std::size_t pixels, std::uint32_t colorComponents, bool premultiplied,
                    float* out) noexcept;
void BlendOverWhite(const double* row, std::size_t pixels, std::uint32_t colorComponents, bool premultiplied,
                    double* out) noexcept;
// The same where 0 is white, as of inks. `opaque` is the sample value of full opacity.
void BlendOverPaper(const std::uint8_t* row, std::size_t pixels, std::uint32_t inks, bool premultiplied,
                    std::uint8_t* out) noexcept;
void BlendOverPaper(const std::uint16_t* row, std::size_t pixels, std::uint32_t inks, bool premultiplied,
                    std::uint16_t opaque, std::uint16_t* out) noexcept;

}  // namespace imageformats
