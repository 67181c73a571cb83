#pragma once

#include "platform/imageformats/codec/image_metadata.h"
#include "platform/imageformats/png/png_header.h"

namespace imageformats {

// Fills texts that are still unknown from PNG's keywords: imageID <- Title; author <- Author; description <-
// Description, else Comment; capturing <- Source; info1 <- Software; info2 <- Copyright; date <- Creation Time, which
// is also the acquisition time when it can be understood, else the time of the last change.
void ApplyPngTexts(const SPngTexts& texts, SImageMetadata& metadata);

}  // namespace imageformats
