#pragma once

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// Whole-slide files through OpenSlide. Files only.

// Slides that are TIFF files, or come with a JPEG file as their preview; plain tiled TIFF files stay with the TIFF
// codec.
const CCodecModule& WsiCodec() noexcept;
// Slides of other kinds, asked last: OpenSlide's detection looks at the whole folder.
const CCodecModule& WsiFallbackCodec() noexcept;

}  // namespace imageformats
