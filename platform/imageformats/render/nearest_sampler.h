#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/imageformats/render/area_reducer.h"

namespace imageformats {

// Stands in for CAreaReducer where values number things: each result pixel is the source's sample in the middle of the
// area that it covers. Of one component.
class CNearestSampler {
 public:
  // Throws CDamagedError like CAreaReducer.
  CNearestSampler(SSize source, SSize result, ESampleType type, CRenderGuard& guard);

  // Takes what it wants of the rectangle at (x, y). `data` points to its first sample, aligned for the type; rows lie
  // `stride` bytes apart, pixels `pixelBytes`.
  void AddBand(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height, const void* data,
               std::size_t stride, std::size_t pixelBytes);

  // The samples; where nothing was added, 0. The sampler is spent.
  SAveragedPicture Finish();

 private:
  SSize m_source;
  ESampleType m_type;
  SAveragedPicture m_picture;
};

}  // namespace imageformats
