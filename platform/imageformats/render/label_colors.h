#pragma once

#include <cstdint>
#include <vector>

#include "platform/imageformats/render/area_reducer.h"

// Pictures whose samples number things: cells, nuclei, tracks.
namespace imageformats {

// A first, cheap look at averages: whether there are areas of several whole numbers, which fill a quarter of those from
// 1 to the greatest at least.
bool MayBeLabels(const SAveragedPicture& averages);

// Whether samples (not averages) look like labels: 0 as the background and at least three other whole numbers, which
// are mostly those from 1 on, in areas, and beside each other without regard to their order. Says no in doubt.
bool AreLabels(const SAveragedPicture& samples);

// R G B bytes, tightly packed: 0 is black, every other number has a colour that differs from those of the numbers close
// to it, and is the same in every picture.
std::vector<std::uint8_t> ColorLabels(const SAveragedPicture& samples);

}  // namespace imageformats
