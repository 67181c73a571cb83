#pragma once

#include <utility>
#include <vector>

#include "tests/support/file_bytes.h"
#include "tests/support/test_picture.h"

namespace qvtest {

// How libjpeg shall write a test file.
struct SJpegRecipe {
  int quality = 90;
  bool progressive = false;
  bool separateScans = false;     // sequential, one scan for each component
  bool scanPerFrequency = false;  // progressive, one component: 64 scans
  bool arithmetic = false;
  int chromaX = 1, chromaY = 1;  // subsampling
  int restartRows = 0;           // MCU rows between restart markers
  bool adobeCmyk = false;        // four components: Adobe marker and inverted inks, as graphics programs write
  bool ycck = false;             // four components, converted
  bool keepRgb = false;          // three components without conversion
  std::vector<std::pair<int, SFileBytes>> segments;  // APPn or COM number (0xE1, 0xFE) and payload
};

// 1, 3 or 4 components of 8 bits.
SFileBytes EncodeJpeg(const STestPicture& picture, const SJpegRecipe& recipe = {});

// An APP1 payload with the EXIF orientation.
SFileBytes ExifWithOrientation(int orientation);
// EXIF from its TIFF header on, with an author of three letters and an orientation.
SFileBytes ExifOfAuthor(const char (&author)[4], int orientation);
// APP2 payloads that carry the profile.
std::vector<std::pair<int, SFileBytes>> ProfileSegments(const SFileBytes& profile);

}  // namespace qvtest
