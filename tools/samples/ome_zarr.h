#pragma once

#include "tools/samples/context.h"

// Cells in two channels and five planes as OME-Zarr, once of version 0.4 and once of 0.5: folders with two levels of
// resolution, chunks without compression.
void MakeOmeZarr(const SContext& context);
