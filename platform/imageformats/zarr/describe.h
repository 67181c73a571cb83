#pragma once

#include <string>

#include "platform/imageformats/codec/image_metadata.h"
#include "platform/imageformats/planes/plane_stack.h"
#include "platform/imageformats/zarr/ngff/find_picture.h"
#include "platform/imageformats/zarr/ngff/multiscale.h"

namespace imageformats::zarr {

// The picture as planes to be shown.
SPlaneStack StackOf(const SMultiscale& picture);

// Its geometry: of level 0, one component.
SQvImageInfo InfoOf(const SMultiscale& picture);

// What docs/formats.md says field by field; `name` is the folder's or archive's.
SImageMetadata Describe(const SMultiscale& picture, const SFoundPicture& found, const SPlaneStack& stack,
                        const SQvImageInfo& info, const std::string& name);

}  // namespace imageformats::zarr
