#pragma once

#include <memory>

#include "platform/imageformats/codec/banded_image.h"
#include "platform/imageformats/webp/webp_chunks.h"

namespace imageformats {

// The first frame on its canvas, decoded by libwebp; scaled while it is decoded where it would need much memory
// otherwise. `guard` and `pixels` must outlive it. Throws CDamagedError.
std::unique_ptr<IPixelBands> OpenWebpBands(const CInput& input, const SWebpOverview& overview,
                                           const SStoredPixels& pixels, SSize wanted, CRenderGuard& guard);

}  // namespace imageformats
