#pragma once

#include <cstdint>
#include <vector>

#include "platform/imageformats/tiff/pixel_rows.h"

namespace imageformats::tiff {

// Takes converted rows as they come: rectangles that together cover the picture once, in any order.
class PixelSink {
 public:
  virtual ~PixelSink() = default;
  // Rows of `width` pixels, `stride` bytes apart, at (x, y) of the source's axes. What sticks out is to be ignored.
  virtual void Add(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height,
                   const std::uint8_t* rows, std::size_t stride) = 0;
};

// Decodes every block of the source once and passes its converted rows on.
void ReadPixels(BlockSource& source, PixelRows& rows, PixelSink& sink, RenderGuard& guard);

struct SReduceRequest {
  SSize displayed;  // wanted size, orientation applied
  EOrientation orientation = EOrientation::kTopLeft;
  bool fast = false;
  std::uint64_t planeSkip = 0;          // see SBlockRequest
  std::vector<std::uint32_t> channels;  // see PixelRows
};

// A page's averages at the wanted size, or at the page's own along an axis where that is smaller. Lab comes on the
// scale of EColorModel.
struct SReducedPage {
  SAveragedPicture averages;
  SPixelMeaning meaning;
};
SReducedPage ReducePage(TiffHandle& tiff, const SPage& page, const SReduceRequest& request, RenderGuard& guard);

}  // namespace imageformats::tiff
