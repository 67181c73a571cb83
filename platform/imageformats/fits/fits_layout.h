#pragma once

#include "platform/imageformats/arrays/array_image.h"
#include "platform/imageformats/fits/fits_header.h"

namespace imageformats {

// Where the samples of a unit that is a picture stand, and what its axes and values mean. Throws CDamagedError.
void LayOutFits(const SFitsUnit& unit, SArrayPicture& picture);

// Texts and time; those of the picture's unit first, then those of the file's first one.
void DescribeFits(const SFitsUnit& unit, const SFitsUnit& first, SArrayPicture& picture);

}  // namespace imageformats
