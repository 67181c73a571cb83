#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "tools/samples/output.h"

enum class EPngColor { kGrey, kRgb, kRgba, kPalette };

struct SPngImage {
  int width = 0, height = 0;
  EPngColor color = EPngColor::kRgb;
  int bits = 8;                                      // 8 or 16
  CBytes samples;                                    // rows without padding; 16-bit samples in big-endian order
  std::vector<std::array<std::uint8_t, 3>> palette;  // up to 256 colours for kPalette
  bool interlaced = false;
  bool filtered = true;  // false: rows are stored without a filter
};

// Throws std::runtime_error.
CBytes EncodePng(const SPngImage& image);
