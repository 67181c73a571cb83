#pragma once

#include <cstdint>

#include "tools/samples/rgb_image.h"

// Pictures as they lie between the measurements in every lab's folders.

// An agar plate with colonies, from above.
SRgbImage RenderAgarPlate(int width, int height, std::uint64_t seed);
// Mountains at some time of day: the retreat's group hike.
SRgbImage RenderMountains(int width, int height, std::uint64_t seed);
// A 96-well plate with a colour reaction in rising concentrations.
SRgbImage RenderWellPlate(int width, int height, std::uint64_t seed);
