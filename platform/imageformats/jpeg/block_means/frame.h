#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/jpeg/block_means/block_details.h"
#include "platform/imageformats/jpeg/block_means/huffman_table.h"
#include "platform/imageformats/render/area_reducer.h"

namespace imageformats {

// What scans that refine AC coefficients have to know of each block: which coefficients are not 0, and, of those that
// tell blocks apart, which are negative. By zigzag order.
struct SJpegHistory {
  static constexpr std::uint64_t kBytesPerBlock = sizeof(std::uint64_t) + sizeof(std::uint16_t);

  std::vector<std::uint64_t> nonzero;  // empty when nothing is to be refined
  std::vector<std::uint16_t> negative;
  std::bitset<64> known;  // the coefficients that it tells of

  void Add(std::size_t block, unsigned k, bool isNegative) noexcept {
    nonzero[block] |= std::uint64_t{1} << k;
    if (isNegative && k < 16) negative[block] = static_cast<std::uint16_t>(negative[block] | 1u << k);
  }
  bool IsNegative(std::size_t block, unsigned k) const noexcept { return k < 16 && (negative[block] >> k & 1u) != 0; }
};

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

  // Only when cut blocks are told apart.
  std::optional<CBlockDetails> details;
  std::vector<std::uint8_t> hasAc;  // of each block: an AC coefficient was seen
  std::bitset<64> wasRead;          // coefficients, in zigzag order, of which all bits so far were read
  SJpegHistory history;             // of progressive files

  SJpegComponent() { missingBits.fill(-1); }
  // The last coefficient, in zigzag order, that is wanted of any block, and of this one.
  unsigned LastCoefficient() const noexcept { return details ? details->LastCoefficient() : 0; }
  unsigned LastCoefficientOf(std::uint32_t x, std::uint32_t y) const noexcept {
    return details ? details->LastCoefficientOf(x, y) : 0;
  }
  std::size_t IndexOf(std::uint32_t x, std::uint32_t y) const noexcept { return std::size_t{y} * stride + x; }
  // Whether hasAc tells which blocks are flat.
  bool KnowsFlatBlocks() const noexcept { return !hasAc.empty() && wasRead.all(); }
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
  // The axes of a component's means when each is counted `times` along either.
  SSourceAxis MeansAxisX(const SJpegComponent& c, std::uint32_t times) const noexcept;
  SSourceAxis MeansAxisY(const SJpegComponent& c, std::uint32_t times) const noexcept;
  // Whether three components are YCbCr; libjpeg's rules.
  bool IsYCbCr() const noexcept;

 private:
  // False, and left to libjpeg, when the result is too fine for the component's blocks.
  bool PrepareDetails(SJpegComponent& c, const SMeansRequest& request, CRenderGuard& guard) const;
};

}  // namespace imageformats
