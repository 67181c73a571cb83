#pragma once

#include "picture/qvpicbuf.h"
#include "platform/imageformats/tiff/dataset/dataset.h"

namespace imageformats::tiff {

// The first picture at full size: COpenedImage::Read.
void ReadFullPicture(CFileSet& files, const SDataset& dataset, SQvPicBuf& picture, CRenderGuard& guard);

}  // namespace imageformats::tiff
