#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "platform/imageformats/tiff/ome/ome_model.h"

namespace imageformats::tiff {

// Where an OME document says a plane is.
struct SOmePlaneRef {
  std::uint32_t z = 0, c = 0, t = 0;  // c counts planes, not samples
  std::size_t tiffData = 0;           // index of the element in SOmeImage::tiffData
  std::uint32_t ifd = 0;              // in that element's file
};

// No more planes than this are listed; what lies behind is not shown.
inline constexpr std::size_t kMaxOmePlanes = 1u << 20;

// Calls `visit` for every plane that the image's TiffData elements place, in their order, until it returns false.
// `channelPlanes` is the number of planes of one z and time. `planesInFile` tells how many directories the file of an
// element has, for elements that take all of them.
void VisitOmePlanes(const SOmeImage& image, std::uint32_t channelPlanes,
                    const std::function<std::size_t(const SOmeTiffData&)>& planesInFile,
                    const std::function<bool(const SOmePlaneRef&)>& visit);

}  // namespace imageformats::tiff
