#pragma once

#include "picture/qvpicbuf.h"
#include "platform/imageformats/tiff/dataset/dataset.h"

namespace imageformats::tiff {

// The first picture at full size: OpenedImage::Read.
void ReadFullPicture(FileSet& files, const SDataset& dataset, SQvPicBuf& picture, RenderGuard& guard);

}  // namespace imageformats::tiff
