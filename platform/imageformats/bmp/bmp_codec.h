#pragma once

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// Bitmaps of Windows (headers 3 to 5) and OS/2, all depths, run lengths, bit fields.
const CCodecModule& BmpCodec() noexcept;

}  // namespace imageformats
