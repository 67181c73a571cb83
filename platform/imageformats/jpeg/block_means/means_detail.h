#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/imageformats/base/geometry.h"

namespace imageformats {

// How fine the means of a component are.
enum class EMeansDetail {
  kBlocks,         // of its blocks of 8 x 8 samples
  kQuarterChroma,  // the same, but of the blocks' quarters where the component is sampled less often than others
  kQuarters        // of the blocks' quarters
};

struct SMeansRequest {
  EMeansDetail detail = EMeansDetail::kBlocks;
  // What the means are averaged to: only blocks that a border of its pixels cuts are taken apart, for of the others
  // nothing but the mean counts. 0 x 0: all are.
  SSize result;
};

// What makes quarters of a block of its mean, on the scale of SBlockMeansPlane: added to the left, the upper, and the
// upper left and lower right quarters, taken from the others. Of each row of blocks one row of each.
enum : std::size_t { kLeftDetail, kUpperDetail, kDiagonalDetail, kQuarterDetails };
using CQuarterDetails = std::vector<std::int16_t>;

}  // namespace imageformats
