#include "platform/imageformats/common/image_metadata.h"

#include "platform/imageformats/common/text.h"

namespace imageformats {

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
