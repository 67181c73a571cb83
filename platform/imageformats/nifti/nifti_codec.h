#pragma once

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// NIfTI-1 and NIfTI-2, in one file or as a pair of header and image, and Analyze 7.5.
const CCodecModule& NiftiCodec() noexcept;

}  // namespace imageformats
