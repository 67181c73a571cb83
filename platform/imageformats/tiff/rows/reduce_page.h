#pragma once

#include <cstdint>
#include <vector>

#include "platform/imageformats/tiff/rows/row_converter.h"

namespace imageformats::tiff {

struct SReduceRequest {
  SSize displayed;  // wanted size, orientation applied
  EOrientation orientation = EOrientation::kTopLeft;
  bool fast = false;
  std::uint64_t dataOffset = 0;         // see SBlockRequest
  std::vector<std::uint32_t> channels;  // see CRowConverter
};

// A page's averages at the wanted size, or at the page's own along an axis where that is smaller. Lab comes on the
// scale of EColorModel.
struct SReducedPage {
  SAveragedPicture averages;
  SPixelFormat pixelFormat;
};
SReducedPage ReducePage(CTiffHandle& tiff, const SPage& page, const SReduceRequest& request, CRenderGuard& guard);

// The same of a page (or channel) of one component, with samples instead of averages: see CNearestSampler.
SAveragedPicture SamplePage(CTiffHandle& tiff, const SPage& page, const SReduceRequest& request, CRenderGuard& guard);

}  // namespace imageformats::tiff
