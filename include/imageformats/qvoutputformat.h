#pragma once

#include <cstdint>

#include "metadata/qvimageinfo.h"
#include "picture/qvpicbuf.h"

// Describes a picture in memory to IQvOutputImageFile::SetPictureFormat: one frame, not tiled, all bits significant.
inline SQvImageInfo DescribeForOutput(const SQvPicBuf& picture) {
  SQvImageInfo format;
  format.width = format.tileWidth = picture.width;
  format.height = format.tileHeight = picture.height;
  format.widthBytes = picture.widthBytes;
  format.components = picture.components;
  format.bpcInMemory = format.bpcSignificant = static_cast<std::uint8_t>(picture.bpc);
  format.pixelType = kQvPixelUnsigned;
  format.sequenceCount = 1;
  return format;
}
