#pragma once

#include "platform/imageformats/arrays/array_image.h"
#include "platform/imageformats/nrrd/nrrd_header.h"

namespace imageformats {

// Which of the header's axes are the picture's sides, planes, time and channels: fills layout, stack and calibration,
// or says why the data are unsupported.
void LayOutNrrd(const SNrrdHeader& header, SArrayPicture& picture);

}  // namespace imageformats
