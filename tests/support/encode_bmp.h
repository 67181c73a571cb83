#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "tests/support/file_bytes.h"
#include "tests/support/test_picture.h"

namespace qvtest {

// How a BMP file shall be written.
struct SBmpRecipe {
  std::uint32_t headerSize = 40;  // 12, 40, 52, 56, 64, 108 or 124
  bool topDown = false;
  std::uint32_t compression = 0;
  std::array<std::uint32_t, 4> masks{};                  // of compression 3 and 6: R G B, opacity
  std::vector<std::array<std::uint8_t, 3>> colors = {};  // R G B
  SFileBytes profile = {};                               // behind the pixels, for a header of 124 bytes
};

// The file around the pixels' bytes.
SFileBytes BmpFile(std::uint32_t width, std::uint32_t height, std::uint32_t bits, const SFileBytes& pixels,
                   const SBmpRecipe& recipe = {});

// Rows of a bitmap, packed: indices of 1 to 8 bits (one component), words of 16 and 32 bits (one component, whose value
// is the word), or R G B as 24 bits.
SFileBytes BmpRows(const STestPicture& picture, std::uint32_t bits, bool topDown);
inline SFileBytes EncodeBmp(const STestPicture& picture, std::uint32_t bits, const SBmpRecipe& recipe = {}) {
  return BmpFile(picture.width, picture.height, bits, BmpRows(picture, bits, recipe.topDown), recipe);
}

}  // namespace qvtest
