#pragma once

#include "tools/samples/context.h"

// Tissue slides as pyramids of JPEG tiles: one whose levels follow each other in the file, one (an OME-TIFF) whose
// levels are sub-directories of the first.
void MakeSlides(const SContext& context);
