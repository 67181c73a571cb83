#pragma once

#include "tools/samples/output.h"
#include "tools/samples/rgb_image.h"

struct SJpegOptions {
  int quality = 90;
  bool progressive = false;
  bool fullColor = false;  // YCbCr 4:4:4
  int restartRows = 0;     // rows of blocks between restart markers; 0: none
  CBytes app1;             // an EXIF block as MakeExif gives it; empty for none
};

// A baseline or progressive JPEG stream of YCbCr, 4:2:0 unless said otherwise, or of one grey component. Throws
// std::runtime_error.
CBytes EncodeJpeg(const SRgbImage& image, const SJpegOptions& options = {});
CBytes EncodeGreyJpeg(const CBytes& pixels, int width, int height, const SJpegOptions& options = {});
