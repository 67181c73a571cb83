#pragma once

#include <memory>

#include "platform/imageformats/codec/banded_image.h"
#include "platform/imageformats/pnm/pnm_header.h"

namespace imageformats {

SStoredPixels PnmPixels(const SPnmHeader& header);

// Decodes the rows. All arguments must outlive it. Throws CDamagedError, also while rows are asked for.
std::unique_ptr<IPixelBands> OpenPnmRows(const CInput& input, const SPnmHeader& header, const SStoredPixels& pixels,
                                         CRenderGuard& guard);

}  // namespace imageformats
