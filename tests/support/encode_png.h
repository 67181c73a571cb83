#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/file_bytes.h"
#include "tests/support/test_picture.h"

namespace qvtest {

// How libpng shall write a test file.
struct SPngRecipe {
  bool palette = false;  // samples are indices
  std::vector<std::array<std::uint8_t, 3>> colors;
  bool interlaced = false;
  int filters = -1;                                                  // PNG_FILTER_… to use; -1 all
  std::vector<std::uint8_t> paletteOpacity;                          // tRNS of a palette
  std::vector<std::uint16_t> transparent;                            // tRNS of grey (1) or RGB (3)
  int significantBits = 0;                                           // sBIT
  double gamma = 0.0;                                                // gAMA
  SFileBytes profile;                                                // iCCP
  SFileBytes exif;                                                   // eXIf, from the TIFF header on
  std::vector<std::pair<std::string, std::string>> texts;            // tEXt, Latin-1
  std::vector<std::pair<std::string, std::string>> compressedTexts;  // zTXt
  std::vector<std::pair<std::string, std::string>> unicodeTexts;     // iTXt, compressed
  std::array<int, 6> modified{};                                     // tIME
  std::size_t dataChunk = 0;                                         // largest IDAT, 0 libpng's own
};

// 1 (grey or palette), 2 (grey, alpha), 3 or 4 components; bits 1, 2, 4, 8 or 16.
SFileBytes EncodePng(const STestPicture& picture, const SPngRecipe& recipe = {});

}  // namespace qvtest
