#pragma once

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// DICOM files (PS3.10): single pictures, of several frames the middle one, and slides whose frames are tiles. Nothing
// that may tell who a patient is becomes a text.
const CCodecModule& DicomCodec() noexcept;

}  // namespace imageformats
