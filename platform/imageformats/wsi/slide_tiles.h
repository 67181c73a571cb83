#pragma once

#include <memory>

#include "platform/imageformats/base/input.h"

namespace imageformats {

// OpenSlide takes the memory of a tile that a TIFF file claims, and ends the process when there is none. Throws
// CDamagedError for a file that claims more than a slide scanner writes; files that are no TIFF pass.
void CheckSlideTiles(const std::shared_ptr<const CInput>& input);

}  // namespace imageformats
