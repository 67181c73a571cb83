#pragma once

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// JPEG XL, through libjxl where it is installed: the first frame, as the first of a time series where there are
// several.
const CCodecModule& JxlCodec() noexcept;

}  // namespace imageformats
