#pragma once

#include <cstdint>
#include <span>

#include "platform/imageformats/dicom/dicom_header.h"

namespace imageformats {

// Decodes a JPEG-LS stream (ISO/IEC 14495-1), through CharLS, to exactly `out`: samples of bytes or of words in the
// machine's byte order. Whether they lie in planes. Throws CDamagedError when the stream does not fit the header.
bool DecodeJpegLs(std::span<const std::uint8_t> stream, const SDicomHeader& header, std::span<std::uint8_t> out);

}  // namespace imageformats
