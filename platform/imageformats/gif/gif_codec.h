#pragma once

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// GIF, through giflib: the first frame, as the first of a time series where there are several.
const CCodecModule& GifCodec() noexcept;

}  // namespace imageformats
