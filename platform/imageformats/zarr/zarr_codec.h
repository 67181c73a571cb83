#pragma once

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// OME-Zarr 0.1 to 0.5, of Zarr 2 and 3: a folder, or a zip archive.
const CCodecModule& ZarrCodec() noexcept;

}  // namespace imageformats
