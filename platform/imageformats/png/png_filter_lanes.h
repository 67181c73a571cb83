#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace imageformats {

// Samples of pixels in the vector types that GCC and Clang share, for undoing PNG's filters. They stay in registers
// from pixel to pixel, because each pixel waits for its left neighbour.
using SPngLanes = std::int16_t __attribute__((vector_size(16)));
using SPngLaneBytes = std::uint8_t __attribute__((vector_size(8)));

// `bytes` is at most 8; the lanes behind them are 0.
inline SPngLanes LoadPngLanes(const std::uint8_t* p, std::size_t bytes) noexcept {
  SPngLaneBytes loaded = {};
  std::memcpy(&loaded, p, bytes);
  return __builtin_convertvector(loaded, SPngLanes);
}

// The low bytes of the lanes, the first lane's lowest.
inline std::uint64_t BytesOfPngLanes(SPngLanes lanes) noexcept {
  const SPngLaneBytes bytes = __builtin_convertvector(lanes, SPngLaneBytes);
  std::uint64_t packed;
  std::memcpy(&packed, &bytes, sizeof packed);
  return packed;
}

inline SPngLanes AbsolutePngLanes(SPngLanes v) noexcept { return v > -v ? v : -v; }

inline SPngLanes PaethPredictor(SPngLanes left, SPngLanes up, SPngLanes upLeft) noexcept {
  const SPngLanes towardsLeft = up - upLeft, towardsUp = left - upLeft;
  const SPngLanes pa = AbsolutePngLanes(towardsLeft), pb = AbsolutePngLanes(towardsUp);
  const SPngLanes pc = AbsolutePngLanes(towardsLeft + towardsUp);
  const SPngLanes least = pa < pb ? pa : pb;
  const SPngLanes nearest = pb < pa ? up : left;
  return pc < least ? upLeft : nearest;
}

inline SPngLanes AveragePredictor(SPngLanes left, SPngLanes up) noexcept { return (left + up) >> 1; }

}  // namespace imageformats
