#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/jpeg/block_means/huffman_table.h"
#include "platform/imageformats/jpeg/block_means/means_detail.h"
#include "platform/imageformats/render/area_reducer.h"

namespace imageformats {

// The last AC coefficient, in zigzag order, that the quarters are made of: those behind it change them little, and in
// sequential files are stepped over.
inline constexpr unsigned kLastQuarterCoefficient = 4;

// A component of the frame and the state of its decoding.
struct SJpegComponent {
  std::uint8_t id = 0;
  std::uint32_t h = 1, v = 1;  // sampling factors
  std::uint8_t quantTable = 0;
  std::uint32_t blocksAcross = 0, blocksDown = 0;  // of the component itself
  std::uint32_t stride = 0;                        // blocks in a row, filled up to whole MCUs
  std::vector<std::int16_t> dcCoefficients;        // of each block
  std::array<int, 64> missingBits;                 // of the coefficients, in zigzag order; -1: not yet seen
  std::array<std::uint16_t, 64> quantisers{};      // as of the component's first scan

  // How the quarters of each block differ from its mean; only when the quarters are wanted.
  bool hasQuarters = false;
  CQuarterDetails details;
  std::vector<std::uint8_t> isColumnCut, isRowCut;  // of blocks: whether those in it are taken apart
  // What an AC coefficient of 1 makes of its detail, in parts of 2 to the kWeightBits; 0 for those that make none.
  static constexpr unsigned kWeightBits = 8;
  std::array<std::int64_t, kLastQuarterCoefficient + 1> weights{};

  SJpegComponent() { missingBits.fill(-1); }
  // The last coefficient, in zigzag order, that this block is taken apart by. Halves on the same side of a border add
  // up to what they are without it: (T.81, figure 5) 1 sets the left apart from the right, 2 the upper from the lower
  // half.
  unsigned LastCoefficientOf(std::uint32_t x, std::uint32_t y) const noexcept {
    if (!hasQuarters) return 0;
    constexpr std::array<std::uint8_t, 4> kLast = {0, 1, 2, kLastQuarterCoefficient};
    return kLast[isColumnCut[x] | isRowCut[y] << 1];
  }
  // Of the block at (x, y), once; `k` is at most kLastQuarterCoefficient.
  void SetCoefficient(std::uint32_t x, std::uint32_t y, unsigned k, int value) noexcept {
    if (weights[k] == 0) return;
    constexpr std::int64_t kHalf = 1 << (kWeightBits - 1);
    const std::int64_t detail = (value * weights[k] + kHalf) >> kWeightBits;
    details[DetailRow(y, k) * stride + x] = static_cast<std::int16_t>(std::clamp<std::int64_t>(detail, -32767, 32767));
  }
  // The row of a coefficient's detail: (T.81, figure 5) 1 is of the left, 2 of the upper half, 4 of the diagonal.
  static std::size_t DetailRow(std::uint32_t y, unsigned k) noexcept {
    constexpr std::array<std::uint8_t, kLastQuarterCoefficient + 1> kDetails = {0, kLeftDetail, kUpperDetail, 0,
                                                                                kDiagonalDetail};
    return std::size_t{y} * kQuarterDetails + kDetails[k];
  }
  void KeepQuantisers(const std::array<std::uint16_t, 64>& table);
  // Whether the scans read so far hold what the means are made of.
  bool IsComplete() const noexcept;
};

// The tables and the frame as far as the segments read so far define them. Each Parse returns false for content that is
// damaged or of a kind that is left to libjpeg.
struct SJpegFrame {
  bool progressive = false;
  std::uint32_t width = 0, height = 0;
  std::uint32_t maxH = 1, maxV = 1;
  std::vector<SJpegComponent> components;
  std::array<std::array<std::uint16_t, 64>, 4> quantTables{};  // zigzag order; zeros: not defined
  std::array<CJpegHuffmanTable, 4> dcTables, acTables;
  std::uint32_t restartInterval = 0;
  bool hasJfif = false;
  int adobeTransform = -1;

  bool ParseFrameHeader(std::span<const std::uint8_t> payload, bool isProgressive, const SMeansRequest& request,
                        CRenderGuard& guard);
  bool ParseQuantTables(std::span<const std::uint8_t> payload);
  bool ParseHuffmanTables(std::span<const std::uint8_t> payload);
  std::uint32_t McusAcross() const noexcept { return (width + 8 * maxH - 1) / (8 * maxH); }
  std::uint32_t McusDown() const noexcept { return (height + 8 * maxV - 1) / (8 * maxV); }
  // The axes of a component's means, which lie `side` to a block along either.
  SSourceAxis MeansAxisX(const SJpegComponent& c, std::uint32_t side) const noexcept;
  SSourceAxis MeansAxisY(const SJpegComponent& c, std::uint32_t side) const noexcept;
  // Whether three components are YCbCr; libjpeg's rules.
  bool IsYCbCr() const noexcept;
};

}  // namespace imageformats
