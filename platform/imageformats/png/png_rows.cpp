#include "platform/imageformats/png/png_rows.h"

#include <utility>

namespace imageformats {

std::unique_ptr<PngRows> OpenPngRows(std::shared_ptr<const Input> input, const SPngHeader& header, RenderGuard& guard) {
  guard.CheckPixels(header.width, header.height);
  if (auto rows = OpenWholePng(*input, header, guard)) return rows;
  return OpenLibraryPng(std::move(input), header, guard);
}

}  // namespace imageformats
