#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/imageformats/base/input.h"
#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/png/png_header.h"

namespace imageformats {

// Rows of a PNG picture as stored (packed bits, big-endian samples), unfiltered and in order.
class IPngRowSource {
 public:
  virtual ~IPngRowSource() = default;
  struct SBand {
    const std::uint8_t* rows = nullptr;  // valid until the next call
    std::size_t stride = 0;
    std::uint32_t count = 0;
  };
  // The next rows, at least one and at most `most`. Throws CDamagedError.
  virtual SBand NextBand(std::uint32_t most) = 0;
};

// Chooses the way to decode: pictures that are small enough are inflated in one go, which is twice as fast; all others,
// interlaced ones and whatever is odd about the data goes through libpng, whose verdict counts. `guard` must outlive
// the rows.
std::unique_ptr<IPngRowSource> OpenPngRows(std::shared_ptr<const CInput> input, const SPngHeader& header,
                                           CRenderGuard& guard);

// The two ways. OpenWholePngRows gives nothing when the picture is not for it.
std::unique_ptr<IPngRowSource> OpenWholePngRows(const CInput& input, const SPngHeader& header, CRenderGuard& guard);
std::unique_ptr<IPngRowSource> OpenLibpngRows(std::shared_ptr<const CInput> input, const SPngHeader& header,
                                              CRenderGuard& guard);

}  // namespace imageformats
