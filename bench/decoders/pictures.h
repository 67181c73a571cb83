#pragma once

#include <cstdint>
#include <vector>

#include "tools/samples/rgb_image.h"

enum class EContent {
  kQuiet,    // fluorescence without a camera's noise: smooth and mostly dark
  kNatural,  // stained tissue and a camera's noise
  kNoisy     // the same fluorescence in too little light
};

// The same picture everywhere.
SRgbImage MakePicture(EContent content, int width, int height);

std::vector<std::uint8_t> GreyOf(const SRgbImage& image);
// With opacity: full but for a soft border.
std::vector<std::uint8_t> RgbaOf(const SRgbImage& image);
// Counts of a 12-bit camera in 16-bit samples, most significant byte first; kNatural has the camera's own noise.
std::vector<std::uint8_t> MakeCounts(EContent content, int width, int height);
