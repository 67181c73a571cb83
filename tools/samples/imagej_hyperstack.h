#pragma once

#include "tools/samples/context.h"

// A hyperstack of ImageJ: two channels, five slices, three frames, big-endian as ImageJ writes, with colour tables,
// display ranges and labels in its private tags.
void MakeImageJHyperstack(const SContext& context);
