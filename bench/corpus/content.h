#pragma once

#include <cstdint>
#include <vector>

#include "tools/samples/rgb_image.h"
#include "tools/samples/stack.h"

// What the corpus shows: neither noise nor flat, since both would flatter one decoder or another. The same number gives
// the same picture everywhere.

// A stained section or a laboratory photograph, in turns.
SRgbImage MakePhotograph(int width, int height, int number);

// A piece mirrored side by side, so that there are no seams.
SRgbImage MakeMosaic(const SRgbImage& piece, int width, int height);

// A square of stained tissue, of one piece where it is large.
SRgbImage MakeSlide(int side);

// Counts of a camera, a field of cells.
std::vector<std::uint16_t> MakeCells(int side, int number);

// Five channels; each plane of a channel shows its cells somewhat further on.
SStack MakeFiveChannels(int side, int sizeZ);
