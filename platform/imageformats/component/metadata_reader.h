#pragma once

#include <memory>

#include "imageformats/iqvimageformatmanager.h"
#include "platform/imageformats/codec/image_metadata.h"

namespace imageformats {

// A reader over what a codec gathered; it needs neither the opened image nor the file. Throws std::bad_alloc.
IQvMetadataReader* NewMetadataReader(SImageMetadata metadata);

}  // namespace imageformats
