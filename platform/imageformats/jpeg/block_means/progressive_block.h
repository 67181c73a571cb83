#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>

#include "platform/imageformats/jpeg/block_means/frame.h"

namespace imageformats {

// Of all that a coefficient may be whose last bit so far is worth `bit`, and others are still to come.
inline float MiddleOf(int value, int bit) noexcept {
  const float rest = static_cast<float>(bit - 1) * 0.5f;
  return static_cast<float>(value) + (value < 0 ? -rest : rest);
}

// One bit, which is refilled.
inline bool TakeJpegBit(CJpegBitWindow& bits) noexcept {
  const bool isSet = bits.Peek(1) != 0;
  bits.Skip(1);
  return isSet;
}

// A block of a progressive file while a scan adds to its AC coefficients. Coefficients are in zigzag order.
struct SProgressiveBlock {
  SJpegComponent& component;
  std::size_t index;
  unsigned last;  // coefficient that tells it apart
  CBlockDetails::SBlock details{};

  SProgressiveBlock(SJpegComponent& c, std::uint32_t x, std::uint32_t y)
      : component(c), index(c.IndexOf(x, y)), last(c.LastCoefficientOf(x, y)) {
    if (last != 0) details = c.details->BlockAt(x, y);
  }

  // A coefficient, or what a further bit of it makes it more.
  void Add(unsigned k, float value) const noexcept {
    component.hasAc[index] = 1;
    if (k <= last) component.details->Add(details, k, value);
  }

  // Those known not to be 0, from the coefficient `begin` to before `end`, by bits. Needs a history, as what follows.
  std::uint64_t Nonzero(unsigned begin, unsigned end) const noexcept {
    if (begin >= end) return 0;
    return component.history.nonzero[index] & (~std::uint64_t{0} >> (64 - end)) & (~std::uint64_t{0} << begin);
  }

  // The coefficient that is 0 behind so many others that are, from `begin` on; or `end`.
  unsigned PastZeros(unsigned begin, unsigned end, unsigned zeros) const noexcept {
    std::uint64_t passed = ~Nonzero(begin, end) & (~std::uint64_t{0} << begin);
    for (; zeros != 0; --zeros) passed &= passed - 1;
    return std::min(static_cast<unsigned>(std::countr_zero(passed)), end);
  }

  // Takes one more bit of each that is not 0, which is worth `bit`: from the coefficient `begin` to before `end`.
  void Refine(CJpegBitWindow& bits, unsigned begin, unsigned end, int bit) const {
    std::uint64_t refined = Nonzero(begin, end);
    for (; refined != 0; refined &= refined - 1) {
      const auto k = static_cast<unsigned>(std::countr_zero(refined));
      if (k > last) break;
      bits.Refill();
      const bool grows = TakeJpegBit(bits) != component.history.IsNegative(index, k);
      Add(k, static_cast<float>(grows ? bit : -bit) * 0.5f);  // from the middle of what it might have been
    }
    for (auto left = static_cast<unsigned>(std::popcount(refined)); left != 0;) {
      const unsigned taken = std::min(left, 56u);
      bits.Refill();
      bits.Skip(taken);
      left -= taken;
    }
  }
};

}  // namespace imageformats
