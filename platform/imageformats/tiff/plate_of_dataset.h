#pragma once

#include <optional>

#include "picture/qvpicbuf.h"
#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/codec/plate.h"
#include "platform/imageformats/tiff/dataset/dataset.h"

namespace imageformats::tiff {

// The plate of the dataset's document that the shown image belongs to, else the first one; none for other files. Wells
// of images that the document does not describe are left out.
std::optional<SPlate> PlateOfDataset(const CFileSet& files, const SDataset& dataset);

// The overview of the first picture of that well. Throws CDamagedError when its file is not there.
void RenderWellOfDataset(CFileSet& files, const SDataset& dataset, std::size_t well, SQvPicBuf& picture,
                         CRenderGuard& guard);

}  // namespace imageformats::tiff
