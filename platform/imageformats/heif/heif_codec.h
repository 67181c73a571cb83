#pragma once

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// HEIF and AVIF, through libheif where it is installed: the primary picture.
const CCodecModule& HeifCodec() noexcept;

}  // namespace imageformats
