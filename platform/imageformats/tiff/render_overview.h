#pragma once

#include "platform/imageformats/codec/codec_module.h"
#include "platform/imageformats/tiff/dataset/dataset.h"

namespace imageformats::tiff {

// The overview of a dataset: COpenedImage::Render.
void RenderOverview(CFileSet& files, const SDataset& dataset, const SRenderRequest& request, SQvPicBuf& picture,
                    CRenderGuard& guard);

}  // namespace imageformats::tiff
