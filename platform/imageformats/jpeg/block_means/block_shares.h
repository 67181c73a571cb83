#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "platform/imageformats/render/area_reducer.h"

namespace imageformats {

// What the pixels of a result get of a block's frequencies along one axis: of frequency f, pixel first + i gets
// weights[f][i] of the coefficient, on a scale where frequency 0 has the block's mean. A block that lies in one pixel
// as a whole gives it nothing but frequency 0.
struct SBlockShare {
  static constexpr std::size_t kFrequencies = 5, kMostPixels = 3;

  std::uint32_t first = 0;
  std::uint32_t count = 0;  // of pixels
  std::array<std::array<float, kMostPixels>, kFrequencies> weights{};
};

// Those of all blocks along an axis.
class CBlockShares {
 public:
  // `blocks` is the axis that they lie on; those from its end to `count` fill up the last MCU and give nothing.
  CBlockShares(const SSourceAxis& blocks, std::uint32_t result, std::uint32_t count);
  // Whether no block reaches into more pixels than a share has.
  static bool IsFor(const SSourceAxis& blocks, std::uint32_t result) noexcept;

  std::size_t Count() const noexcept { return m_shares.size(); }
  const SBlockShare& operator[](std::size_t block) const noexcept { return m_shares[block]; }
  // Whether more of the block than its mean counts: a pixel's border goes through it, or the picture's own, for what
  // lies behind that does not count.
  bool IsCut(std::size_t block) const noexcept { return m_isCut[block] != 0; }

 private:
  std::vector<SBlockShare> m_shares;
  std::vector<std::uint8_t> m_isCut;
};

}  // namespace imageformats
