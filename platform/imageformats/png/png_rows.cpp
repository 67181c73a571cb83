#include "platform/imageformats/png/png_rows.h"

#include <utility>

namespace imageformats {

std::unique_ptr<IPngRowSource> OpenPngRows(std::shared_ptr<const CInput> input, const SPngHeader& header,
                                           CRenderGuard& guard) {
  guard.CheckPixels(header.width, header.height);
  if (auto rows = OpenWholePngRows(*input, header, guard)) return rows;
  return OpenLibpngRows(std::move(input), header, guard);
}

}  // namespace imageformats
