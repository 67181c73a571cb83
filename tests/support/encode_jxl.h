#pragma once

#include "tests/support/file_bytes.h"
#include "tests/support/test_picture.h"

namespace qvtest {

// How libjxl shall write a test file.
struct SJxlRecipe {
  bool lossless = true;
  int orientation = 1;
  int frames = 1;      // the same picture again, 40 ms each
  SFileBytes exif;     // starting with the TIFF header; packed
  SFileBytes profile;  // else sRGB
};

// 1 to 4 components, of which the second or fourth is opacity; 8 or 16 bits.
SFileBytes EncodeJxl(const STestPicture& picture, const SJxlRecipe& recipe = {});

}  // namespace qvtest
