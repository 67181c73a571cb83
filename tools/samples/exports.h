#pragma once

#include "tools/samples/context.h"
#include "tools/samples/rgb_image.h"

// What programs export and archives keep: one picture in each of the formats BMP, GIF, PPM, WebP, JPEG 2000 and DICOM,
// the last as one level of a tiled slide.
void MakeExports(const SContext& context);

// The encoders. Throw std::runtime_error.
CBytes EncodeBmp(const SRgbImage& image);
CBytes EncodeGif(const SRgbImage& image);
CBytes EncodePpm(const SRgbImage& image);
CBytes EncodeWebp(const SRgbImage& image);
CBytes EncodeJpeg2000(const SRgbImage& image);
// Tiles of JPEG, `side` pixels wide and high, of `micrometres` a pixel.
CBytes EncodeDicomSlide(const SRgbImage& image, int side, double micrometres);
