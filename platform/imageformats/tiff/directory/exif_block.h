#pragma once

#include <cstdint>
#include <vector>

#include "platform/imageformats/tiff/directory/tiff_handle.h"

namespace imageformats::tiff {

// The EXIF and GPS directories that the selected directory points to, as a block of their own, such as other formats
// carry it; empty when there are none.
std::vector<std::uint8_t> ExifBlockOf(CTiffHandle& tiff);

}  // namespace imageformats::tiff
