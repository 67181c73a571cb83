#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/samples/rgb_image.h"

struct SStackChannel {
  std::string name, fluor;
  std::uint32_t color = 0;           // 0xRRGGBB
  int excitation = 0, emission = 0;  // nanometres
  int exposure = 0;                  // milliseconds
};

// Planes of 12-bit counts; channels change fastest, then z, then time.
struct SStack {
  int width = 0, height = 0, sizeZ = 1, sizeT = 1;
  std::vector<SStackChannel> channels;
  std::vector<std::vector<std::uint16_t>> planes;
  double pixelSize = 0;  // micrometres
  double zStep = 0;      // micrometres
  double interval = 0;   // seconds

  int SizeC() const { return static_cast<int>(channels.size()); }
};

// A picture for display: the middle plane of the first time point, channels stretched and added in their colours.
SRgbImage Composite(const SStack& stack);
