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

}  // namespace imageformats
