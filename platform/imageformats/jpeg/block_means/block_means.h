#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/imageformats/base/input.h"
#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/render/area_reducer.h"

namespace imageformats {

struct SJpegFrame;

// One colour component at an eighth of its own size, the means of its 8 x 8 blocks, which are the blocks' DC
// coefficients; or at a quarter, the means of their quarters. Values are eight times the samples, 0..2040, so that
// nothing is rounded.
struct SBlockMeansPlane {
  std::uint32_t stride = 0;  // means in a row, those that merely fill up the last MCU included
  SSourceAxis x, y;          // of the picture's own means
  std::vector<std::uint16_t> means;
};

struct SBlockMeans {
  std::vector<SBlockMeansPlane> planes;
  bool isYCbCr = false;  // else grey, or R G B
};

// Reads the block means of a whole file without decoding what they do not need: no memory for all coefficients, no
// transform, most AC coefficients stepped over; a tenth of the work for progressive files. `quarterBlockChroma`, for
// progressive files only, gives components that are sampled less often than others at a quarter of their size, perhaps
// off by two grey levels. Nothing when the file is not for it (arithmetic coding, CMYK, 12 bits, unusual structure) or
// anything about the data is odd, damage included: libjpeg is asked then, and its verdict counts. `tables` are those
// that an abbreviated stream leaves out, or null.
std::optional<SBlockMeans> ReadBlockMeans(const CInput& input, bool quarterBlockChroma, CRenderGuard& guard,
                                          const SJpegFrame* tables = nullptr);

// The tables of a tables-only stream (TIFF tag JPEGTables). Null when anything about it is odd.
std::shared_ptr<const SJpegFrame> ReadTablesOnlyStream(std::span<const std::uint8_t> stream);

}  // namespace imageformats
