#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/file_bytes.h"
#include "tests/support/test_picture.h"

namespace qvtest {

struct SGifFrame {
  STestPicture indices;
  std::uint32_t x = 0, y = 0;
  bool interlaced = false;
  int transparent = -1;
  std::uint32_t delay = 0;  // hundredths of a second
};

// How giflib shall write a test file.
struct SGifRecipe {
  std::uint32_t width = 0, height = 0;              // of the screen; 0: as the first frame
  std::vector<std::array<std::uint8_t, 3>> colors;  // 2 to 256, a power of two
  std::string comment;
};

SFileBytes EncodeGif(const std::vector<SGifFrame>& frames, const SGifRecipe& recipe);

}  // namespace qvtest
