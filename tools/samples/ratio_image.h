#pragma once

#include "tools/samples/context.h"

// A calcium image: the ratio of two exposures of one field in floating point, not a number where there is no dye.
void MakeRatioImage(const SContext& context);
