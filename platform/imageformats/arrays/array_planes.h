#pragma once

#include "platform/imageformats/arrays/array_rows.h"
#include "platform/imageformats/planes/plane_stack.h"

namespace imageformats {

// The planes of an array. All that it is made of must outlive it.
class CArrayPlanes final : public IPlaneReader {
 public:
  CArrayPlanes(const SArrayLayout& layout, IArrayBytes& bytes, CRenderGuard& guard)
      : m_layout(layout), m_rows(layout, bytes, guard) {}

  SAveragedPicture Average(const SPlaneIndex& plane, SSize reduced, CRenderGuard& guard) override;
  SAveragedPicture Sample(const SPlaneIndex& plane, SSize reduced, CRenderGuard& guard) override;

 private:
  SAveragedPicture AverageAt(std::uint64_t offset, SSize reduced, CRenderGuard& guard);
  SAveragedPicture AveragePlanar(std::uint64_t offset, SSize reduced, CRenderGuard& guard);
  SAveragedPicture Scaled(SAveragedPicture picture) const;

  const SArrayLayout& m_layout;
  CArrayRows m_rows;
};

// The picture at `plane` in full, as it is stored but for its orientation: kTopLeft or kBottomLeft.
void ReadArrayPlane(const SArrayLayout& layout, IArrayBytes& bytes, const SPlaneIndex& plane, EOrientation orientation,
                    SQvPicBuf& picture, CRenderGuard& guard);

}  // namespace imageformats
