#pragma once

#include "tools/samples/context.h"
#include "tools/samples/rgb_image.h"

// What programs export and archives keep: one picture in each of the formats BMP, GIF, PPM, WebP, JPEG 2000 and DICOM,
// the last as one level of a tiled slide.
void MakeExports(const SContext& context);
// The same in HEIC, AVIF and JPEG XL, as far as this build and its libraries' plug-ins can write them.
void MakeOptionalExports(const SContext& context);

// The encoders. Throw std::runtime_error.
CBytes EncodeBmp(const SRgbImage& image);
CBytes EncodeGif(const SRgbImage& image);
CBytes EncodePpm(const SRgbImage& image);
CBytes EncodeWebp(const SRgbImage& image);
CBytes EncodeJpeg2000(const SRgbImage& image);
CBytes EncodeHeif(const SRgbImage& image, bool av1);  // HEVC without
CBytes EncodeJxl(const SRgbImage& image);
// Whether libheif found a plug-in that writes them.
bool CanEncodeHeif(bool av1);
// Tiles of JPEG, `side` pixels wide and high, of `micrometres` a pixel.
CBytes EncodeDicomSlide(const SRgbImage& image, int side, double micrometres);
