#pragma once

#include <cstdint>
#include <vector>

#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/tiff/directory/page.h"

namespace imageformats::tiff {

// The whole stream of a picture in one strip of the JPEG that TIFF 6.0, section 22, defined: where the directory points
// to a stream or its beginning, or to its tables. Empty for anything else, which is left to libtiff. The selected
// directory must be the page's. Throws CDamagedError when the file ends before the data.
std::vector<std::uint8_t> OldJpegStream(CTiffHandle& tiff, const SPage& page, CRenderGuard& guard);

}  // namespace imageformats::tiff
