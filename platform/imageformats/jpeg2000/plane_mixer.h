#pragma once

#include <cstdint>
#include <vector>

#include "platform/imageformats/codec/banded_image.h"
#include "platform/imageformats/jpeg2000/jp2_boxes.h"
#include "platform/imageformats/jpeg2000/jpeg2000_decoder.h"

namespace imageformats {

// What becomes of the planes of a codestream.
struct SJpeg2000Mix {
  EColorModel model = EColorModel::kGrey;
  std::vector<std::uint32_t> planes;  // of each component of a pixel, opacity last
  bool isYcc = false;                 // the first three are luma and chroma
  SJp2Palette palette;                // of plane 0, instead
  std::uint32_t white = 255;          // as in SStoredPixels
  bool hasAlpha = false;
  bool premultiplied = false;
};

// From what the file says and the decoder found. Throws CUnsupportedError for other colours.
SJpeg2000Mix MixOf(const SJp2File& file, const CJpeg2000Decoder& decoder);

// Puts row `y` of the decoded tile together: as many pixels as plane 0 is wide, samples interleaved, aligned for 16-bit
// words. Planes that are sampled less often are repeated.
void MixRow(const SJpeg2000Mix& mix, const CJpeg2000Decoder& decoder, std::uint32_t y, std::uint8_t* out);

// Puts the decoded tile where it belongs in a picture of that size, whose rows lie `stride` bytes apart. False when it
// does not lie inside.
bool MixTile(const SJpeg2000Mix& mix, const CJpeg2000Decoder& decoder, SSize size, std::size_t stride,
             std::size_t pixelBytes, std::uint8_t* rows);

}  // namespace imageformats
