#pragma once

#include "platform/imageformats/base/geometry.h"

namespace imageformats {

// The last AC coefficient, in zigzag order, that a block may be told apart by.
inline constexpr unsigned kLastDetailCoefficient = 14;

struct SMeansRequest {
  // What the means are averaged to, at most three pixels for a block along either axis. Blocks that a border of its
  // pixels cuts are told apart by their lowest frequencies; of the others nothing but the mean counts. 0 x 0: the means
  // of whole blocks are all that is wanted.
  SSize result;
  // The last coefficients, in zigzag order, that tell blocks apart, 1 to kLastDetailCoefficient: of components that are
  // sampled for each pixel, and of others, whose blocks are larger. The more, the nearer to the average of all pixels.
  unsigned lastCoefficient = 5, lastOfLargeBlocks = 9;

  // Of a progressive file, over all of whose scans the bits of what tells blocks apart are spread, every scan is read;
  // else the first bits, and all of components whose coefficients come in one scan: those of colour, which are small.
  bool allScans = false;
  // Even areas get the very green of their pixels, which takes both components of colour.
  bool roundsGreen = false;

  bool HasDetails() const noexcept { return result.width != 0 && result.height != 0; }
};

}  // namespace imageformats
