#pragma once

#include "platform/imageformats/codec/codec_module.h"
#include "platform/imageformats/tiff/dataset/dataset.h"

namespace imageformats::tiff {

// The overview of a dataset: OpenedImage::Render.
void RenderOverview(FileSet& files, const SDataset& dataset, const SRenderRequest& request, SQvPicBuf& picture,
                    RenderGuard& guard);

}  // namespace imageformats::tiff
