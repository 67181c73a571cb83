#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/imageformats/base/input.h"
#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/jpeg/block_means/means_request.h"
#include "platform/imageformats/render/area_reducer.h"

namespace imageformats {

struct SJpegFrame;

// Parts of a level that means are counted in: coefficients tell eighths, and what a flat block becomes as a colour
// fewer.
inline constexpr int kMeanUnits = 32;

// One colour component at an eighth of its own size, the means of its 8 x 8 blocks, which are the blocks' DC
// coefficients.
struct SBlockMeansPlane {
  std::uint32_t stride = 0;  // blocks in a row, those that merely fill up the last MCU included
  // Each mean is counted so often along either axis: a result may have more pixels than there are blocks.
  std::uint32_t times = 1;
  SSourceAxis x, y;  // of the picture's own means
  std::uint16_t quantiser = 1;
  std::vector<std::int16_t> dcCoefficients;
  // By block: whether it has AC coefficients; those that have none are of one level. Empty where that is not known.
  std::vector<std::uint8_t> hasAc;
  // What decoders multiply the component's levels by to make them a colour, rounding to whole levels; in parts of
  // 65536.
  std::int32_t colorFactor = 1 << 16;
  std::vector<float> details;  // of the result's pixels, in eighths of a level; empty for whole blocks

  // The means of a row of blocks in kMeanUnits; `out` has room for stride * times.
  void FillRow(std::uint32_t row, std::uint16_t* out) const noexcept;
};

struct SBlockMeans {
  std::vector<SBlockMeansPlane> planes;
  bool isYCbCr = false;      // else grey, or R G B
  bool roundsGreen = false;  // of blocks known to be of one level
};

// Reads the block means of a whole file without decoding what they do not need: no memory for all coefficients, no
// transform, most AC coefficients stepped over; a tenth of the work for progressive files, whose coefficients perhaps
// are off by two grey levels. Nothing when the file is not for it (arithmetic coding, CMYK, 12 bits, unusual structure,
// blocks too large for the wanted result) or anything about the data is odd, damage included: libjpeg is asked then,
// and its verdict counts. `tables` are those that an abbreviated stream leaves out, or null.
std::optional<SBlockMeans> ReadBlockMeans(const CInput& input, const SMeansRequest& request, CRenderGuard& guard,
                                          const SJpegFrame* tables = nullptr);

// The tables of a tables-only stream (TIFF tag JPEGTables). Null when anything about it is odd.
std::shared_ptr<const SJpegFrame> ReadTablesOnlyStream(std::span<const std::uint8_t> stream);

}  // namespace imageformats
