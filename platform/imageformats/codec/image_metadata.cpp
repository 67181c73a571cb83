#include "platform/imageformats/codec/image_metadata.h"

#include "platform/imageformats/base/text.h"

namespace imageformats {

SQvImageInfo PlainInfo(SSize shown, std::uint32_t components, std::uint8_t bits) {
  SQvImageInfo info;
  info.width = info.tileWidth = shown.width;
  info.height = info.tileHeight = shown.height;
  info.components = components;
  info.bpcInMemory = bits > 8 ? 16 : 8;
  info.bpcSignificant = bits;
  info.widthBytes = info.width * components * (info.bpcInMemory / 8u);
  info.pixelType = kQvPixelUnsigned;
  info.sequenceCount = 1;
  return info;
}

SImageMetadata PlainMetadata(const SQvImageInfo& info, const char* formatName, std::uint32_t colorComponents) {
  SImageMetadata metadata;
  metadata.info = info;
  metadata.text.type = TextOf(formatName);
  SQvPicturePlane plane;
  plane.name = colorComponents == 1 ? L"Grey" : L"RGB";
  plane.color = 0xFFFFFF;
  plane.components = colorComponents;
  metadata.picture.planes.planes.push_back(plane);
  return metadata;
}

}  // namespace imageformats
