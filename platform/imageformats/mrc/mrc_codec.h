#pragma once

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// MRC of 2014 and its forerunners, as electron microscopes, reconstructions and density maps have it.
const CCodecModule& MrcCodec() noexcept;

}  // namespace imageformats
