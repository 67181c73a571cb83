#pragma once

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// NRRD (versions 1 to 5), with the data behind the header or in a file beside it.
const CCodecModule& NrrdCodec() noexcept;

}  // namespace imageformats
