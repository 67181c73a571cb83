#pragma once

#include "tools/samples/context.h"

// One stack in each format that is a header and an array: MRC, NRRD (header and data in two files), NIfTI, FITS.
void MakeArrayFiles(const SContext& context);
