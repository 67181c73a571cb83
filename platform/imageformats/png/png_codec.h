#pragma once

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// PNG (ISO/IEC 15948), all colour types and depths, interlaced or not.
const CCodecModule& PngCodec() noexcept;

}  // namespace imageformats
