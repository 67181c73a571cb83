#pragma once

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// WebP, through libwebp: the first frame, as the first of a time series where there are several.
const CCodecModule& WebpCodec() noexcept;

}  // namespace imageformats
