#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/imageformats/base/input.h"

namespace imageformats {

enum EPngColorType : std::uint8_t { kPngGrey = 0, kPngRgb = 2, kPngPalette = 3, kPngGreyAlpha = 4, kPngRgba = 6 };

// What the chunks before the pixels say (PNG, ISO/IEC 15948).
struct SPngHeader {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint8_t bitDepth = 0;
  std::uint8_t colorType = 0;
  bool interlaced = false;
  std::vector<std::uint8_t> palette;       // R G B
  std::vector<std::uint8_t> transparency;  // as in tRNS
  std::uint8_t significantBits = 0;        // the most that sBIT names; 0 without one
  double gamma = 0.0;                      // of the file (about 0.45 for screens); 0 without gAMA
  bool isSrgb = false;
  bool hasProfileChunk = false;
  std::vector<std::uint8_t> profile;  // ICC
  std::vector<std::uint8_t> exif;
  std::uint64_t firstIdat = 0;  // offset of the first IDAT chunk

  std::uint32_t StoredChannels() const noexcept;  // samples per pixel in the file
  // Bytes of a row as filtered, without the filter's own byte.
  std::uint64_t RowBytes() const noexcept;
  bool HasAlpha() const noexcept { return (colorType & 4) != 0 || !transparency.empty(); }
};

// Reads up to the first data chunk. Throws CDamagedError when the file is no PNG, a critical chunk is missing or
// damaged, or the header is impossible. Damaged ancillary chunks are passed over.
SPngHeader ReadPngHeader(const CInput& input);

struct SPngTexts {
  std::vector<std::pair<std::string, std::wstring>> texts;  // keyword, text
  std::array<int, 6> modified{};                            // tIME: year, month, day, hour, minute, second; 0 unknown
};
// The texts of the whole file, those behind the pixels included, up to 1000 of 16 MiB together, unpacked. Damage ends
// the reading without an error.
SPngTexts ReadPngTexts(const CInput& input);

}  // namespace imageformats
