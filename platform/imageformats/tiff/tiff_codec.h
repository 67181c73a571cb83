#pragma once

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// The TIFF family: TIFF 6.0 with its supplements, BigTIFF, OME-TIFF, ImageJ hyperstacks, through libtiff. Read only.
const CCodecModule& TiffCodec() noexcept;

}  // namespace imageformats
