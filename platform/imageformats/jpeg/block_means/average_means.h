#pragma once

#include <optional>

#include "platform/imageformats/jpeg/block_means/block_means.h"

namespace imageformats {

// Adds the means of a plane to those of a larger one, its first at (x, y).
void AddMeans(const SBlockMeansPlane& plane, std::uint32_t x, std::uint32_t y, CAreaReducer& reducer);

// The averages of the wanted size (in stored orientation), 0..255: grey, or R G B. The planes are averaged each on its
// own grid and converted afterwards, which comes to the same and needs no upsampling. `wanted` is the result that
// was asked for; where that was none, no more than the planes hold (MaxResultPixels of their axes).
SAveragedPicture AverageBlockMeans(const SBlockMeans& picture, SSize wanted, CRenderGuard& guard);

// Averages of the planes, each on its own grid, put together: grey, or R G B. All have the same size.
SAveragedPicture JoinPlaneAverages(const std::vector<SAveragedPicture>& planes, bool isYCbCr);

}  // namespace imageformats
