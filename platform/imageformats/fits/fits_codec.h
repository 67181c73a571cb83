#pragma once

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// FITS (version 4.0): the first uncompressed picture, in the primary array or an extension.
const CCodecModule& FitsCodec() noexcept;

}  // namespace imageformats
