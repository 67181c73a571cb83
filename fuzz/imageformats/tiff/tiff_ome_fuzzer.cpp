// Parses an OME-XML document and walks its planes.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/tiff/ome/ome_planes.h"
#include "platform/imageformats/tiff/ome/ome_xml.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  namespace tiff = imageformats::tiff;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  tiff::LooksLikeOmeXml(text);
  tiff::SOmeDocument document;
  std::string error;
  try {
    if (!tiff::ParseOmeXml(text, &document, &error)) return error.empty() ? __builtin_trap(), 0 : 0;
  } catch (const imageformats::CDamagedError&) {
    return 0;
  }
  for (const tiff::SOmeImage& image : document.images) {
    std::size_t visited = 0;
    tiff::VisitOmePlanes(
        image, image.ChannelPlanes(), [](const tiff::SOmeTiffData&) { return std::size_t{5}; },
        [&](const tiff::SOmePlaneRef& plane) {
          if (plane.z >= image.sizeZ || plane.t >= image.sizeT || plane.c >= image.ChannelPlanes()) __builtin_trap();
          return ++visited < 1000;
        });
  }
  return 0;
}
