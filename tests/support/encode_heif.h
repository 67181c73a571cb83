#pragma once

#include "tests/support/file_bytes.h"
#include "tests/support/test_picture.h"

namespace qvtest {

// How libheif shall write a test file.
struct SHeifRecipe {
  bool av1 = false;     // else HEVC
  int orientation = 1;  // as of EXIF
  SFileBytes exif;      // starting with the TIFF header
  SFileBytes profile;
};

// Whether this libheif can write such files.
bool CanEncodeHeif(bool av1);

// 3 or 4 components of 8 bits, or 10 in HEVC, nearly without loss.
SFileBytes EncodeHeif(const STestPicture& picture, const SHeifRecipe& recipe = {});

}  // namespace qvtest
