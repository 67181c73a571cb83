#pragma once

#include <cstdint>
#include <vector>

#include "platform/imageformats/render/area_reducer.h"

namespace imageformats {

// The channels of one plane, or its picture, reduced.
using CLayers = std::vector<SAveragedPicture>;

// Several planes become one, plane by plane. Values that are not finite do not count.
class CProjection {
 public:
  enum class EKind { kMaximum, kMean };

  CProjection(EKind kind, CLayers first, CRenderGuard& guard);
  // Throws CDamagedError for a plane of another shape than the first.
  void Add(const CLayers& plane);
  // The projection is spent.
  CLayers Finish();

 private:
  EKind m_kind;
  CLayers m_result;                                 // the greatest, or the sums
  std::vector<std::vector<std::uint8_t>> m_counts;  // of the mean: values in each sum
};

}  // namespace imageformats
