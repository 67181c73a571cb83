#pragma once

#include <memory>

#include "platform/imageformats/codec/banded_image.h"
#include "platform/imageformats/dicom/dicom_header.h"

namespace imageformats {

// The pixels of the whole slide, its frames being tiles, or of the middle frame. Tiles that a slide leaves out are
// white. All arguments but `wanted` must outlive it. Throws CDamagedError, also while pixels are asked for.
std::unique_ptr<IPixelBands> OpenDicomBands(const CInput& input, const SDicomHeader& header,
                                            const SStoredPixels& pixels, SSize wanted, CRenderGuard& guard);

}  // namespace imageformats
