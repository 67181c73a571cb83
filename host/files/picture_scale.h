#pragma once

#include <cstdint>
#include <string>

#include "imageformats/iqvimageformatmanager.h"
#include "system/qvref.h"

namespace qvhost {

// The metadata of an image file, read with an image-format manager of the host's own. `path` is absolute. Empty, with
// the reason, when the file cannot be read.
CQvRef<IQvMetadataReader> OpenMetadata(const CQvStringW& path, std::string* reason);

// How large things are in a picture.
struct SPictureScale {
  double micrometresPerPixel = 0.0;  // along the width, 0 unknown
  double aspect = 1.0;               // of a pixel, height over width
  std::uint32_t width = 0;           // pixels of the full picture

  // Micrometres, 0 unknown.
  double PictureWidth() const noexcept { return micrometresPerPixel * width; }
  bool HasSquarePixels() const noexcept { return aspect > 0.99 && aspect < 1.01; }
};

// What is not known, or cannot be read, stays at its default.
SPictureScale ScaleOf(IQvMetadataReader& reader);
SPictureScale ReadFileScale(const std::string& path);

}  // namespace qvhost
