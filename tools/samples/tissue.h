#pragma once

#include <cstdint>

#include "tools/samples/rgb_image.h"

// A section of intestinal mucosa stained with haematoxylin and eosin, as a slide scanner sees it at 0.5 micrometres per
// pixel: glands with goblet cells, stroma with fibres and lymphocytes, empty glass around.
SRgbImage RenderTissue(int width, int height, std::uint64_t seed);
