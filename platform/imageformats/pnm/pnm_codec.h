#pragma once

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// PBM, PGM, PPM (as text and raw) and PAM, of 1 to 16 bits. Of several pictures in a file, the first.
const CCodecModule& PnmCodec() noexcept;

}  // namespace imageformats
