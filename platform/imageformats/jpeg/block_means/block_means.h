#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/imageformats/base/input.h"
#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/jpeg/block_means/means_detail.h"
#include "platform/imageformats/render/area_reducer.h"

namespace imageformats {

struct SJpegFrame;

// One colour component at an eighth of its own size, the means of its 8 x 8 blocks, which are the blocks' DC
// coefficients; or at a quarter, the means of their quarters. Values are eight times the samples, 0..2040, so that
// nothing is rounded.
struct SBlockMeansPlane {
  std::uint32_t stride = 0;  // means in a row, those that merely fill up the last MCU included
  SSourceAxis x, y;          // of the picture's own means
  std::uint16_t quantiser = 1;
  std::vector<std::int16_t> dcCoefficients;
  CQuarterDetails details;  // of the same blocks; empty when the means are those of whole blocks

  // Rows of means that belong together: 1, or the 2 of a row of blocks. y.pixels may end within them.
  std::uint32_t RowsAtOnce() const noexcept { return details.empty() ? 1 : 2; }
  // The RowsAtOnce() rows from `row`, a multiple of it, on; `out` has room for RowsAtOnce() * stride.
  void FillRows(std::uint32_t row, std::uint16_t* out) const noexcept;
};

struct SBlockMeans {
  std::vector<SBlockMeansPlane> planes;
  bool isYCbCr = false;  // else grey, or R G B
};

// Reads the block means of a whole file without decoding what they do not need: no memory for all coefficients, no
// transform, most AC coefficients stepped over; a tenth of the work for progressive files. Quarters are made of the
// lowest frequencies, of progressive files perhaps off by two grey levels. Nothing when the file is not for it
// (arithmetic coding, CMYK, 12 bits, unusual structure) or anything about the data is odd, damage included: libjpeg is
// asked then, and its verdict counts. `tables` are those that an abbreviated stream leaves out, or null.
std::optional<SBlockMeans> ReadBlockMeans(const CInput& input, const SMeansRequest& request, CRenderGuard& guard,
                                          const SJpegFrame* tables = nullptr);

// The tables of a tables-only stream (TIFF tag JPEGTables). Null when anything about it is odd.
std::shared_ptr<const SJpegFrame> ReadTablesOnlyStream(std::span<const std::uint8_t> stream);

}  // namespace imageformats
