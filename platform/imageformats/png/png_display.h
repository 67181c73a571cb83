#pragma once

#include <cstdint>

#include "platform/imageformats/png/png_header.h"
#include "platform/imageformats/png/png_row_converter.h"
#include "platform/imageformats/render/area_reducer.h"

namespace imageformats {

// Lays a row of CPngRowConverter over white, in place: `row` holds `width` pixels of pixels.Components(), afterwards
// one less, packed. Nothing to do without an opacity component.
void BlendPngRowOverWhite(const CPngRowConverter& pixels, std::uint8_t* row, std::uint32_t width) noexcept;

// Brings averages (0 .. most) to a screen's gamma where the file names another and nothing more exact. Grey of 16 bits
// is left alone: such pictures are measurements, stretched for display anyway.
void CorrectPngGamma(const SPngHeader& header, double most, SAveragedPicture& averages);

}  // namespace imageformats
