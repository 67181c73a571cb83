#pragma once

#include <string>
#include <vector>

#include "picture/qvpicbuf.h"
#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/codec/associated_image.h"
#include "platform/imageformats/tiff/dataset/dataset.h"

namespace imageformats::tiff {

// What COpenedImage says of its associated images: pages described as a slide's label or macro image, and images of an
// OME document that are called so. Of several of one kind the first counts.
std::vector<SAssociatedImage> ListAssociated(CFileSet& files, const SDataset& dataset);
void RenderAssociatedImage(CFileSet& files, const SDataset& dataset, const std::string& name, SQvPicBuf& picture,
                           CRenderGuard& guard);

}  // namespace imageformats::tiff
