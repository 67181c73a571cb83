#pragma once

#include <memory>

#include "platform/imageformats/bmp/bmp_header.h"
#include "platform/imageformats/codec/banded_image.h"

namespace imageformats {

// The pixels as CBandedImage wants them; rows come in the order of the file.
SStoredPixels BmpPixels(const SBmpHeader& header);

// Decodes the rows. All arguments must outlive it. Throws CDamagedError, also while rows are asked for.
std::unique_ptr<IPixelBands> OpenBmpRows(const CInput& input, const SBmpHeader& header, const SStoredPixels& pixels,
                                         CRenderGuard& guard);
// Those of run lengths.
std::unique_ptr<IPixelBands> OpenBmpRleRows(const CInput& input, const SBmpHeader& header, const SStoredPixels& pixels,
                                            CRenderGuard& guard);

}  // namespace imageformats
