#pragma once

#include <vector>

#include "platform/imageformats/zarr/ngff/multiscale.h"

namespace imageformats::zarr {

// The axes of a multiscale picture whose arrays have so many: as it lists them (0.3 by name, from 0.4 on with type and
// unit), else the last of t, c, z, y, x. Where no axis is said to be x or y, the last ones in space are. Throws
// CDamagedError when the list has another length.
std::vector<SAxis> ReadAxes(const CJson& multiscale, std::size_t count);

// Multiplies the axes' scales by those of a list of transformations.
void ApplyScales(const CJson* transformations, std::vector<SAxis>& axes);

}  // namespace imageformats::zarr
