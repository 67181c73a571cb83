#pragma once

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// JPEG 2000 (ISO/IEC 15444-1), through OpenJPEG: JP2 files and bare codestreams, at reduced resolution, tile by tile.
const CCodecModule& Jpeg2000Codec() noexcept;

}  // namespace imageformats
