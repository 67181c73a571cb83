#pragma once

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// JPEG (ITU-T T.81): 8-bit baseline, extended and progressive; grey, YCbCr, RGB, CMYK, YCCK. Writes grey and RGB.
const CCodecModule& JpegCodec() noexcept;

}  // namespace imageformats
