#pragma once

#include <cstdint>

#include "metadata/qvimageinfo.h"
#include "system/qvstring.h"
#include "system/qvtextinfo.h"

// Sizes of a file's acquisition loops; 0: no such loop.
struct SLoopCounts {
  std::uint32_t time = 0;
  std::uint32_t z = 0;
  std::uint32_t multipoint = 0;
  std::uint32_t lambda = 0;
};

// All that is known of an image file: what a row of the metadata table holds.
struct STextInformation {
  SQvImageTextInfo text;
  SQvImageInfo image;
  double calibration = 0.0;  // micrometres per pixel, 0 unknown
  CQvStringW objective;
  double acqTime = 0.0;       // Julian day number, 0 unknown
  std::int64_t fileSize = 0;  // bytes
  SLoopCounts loops;
};
