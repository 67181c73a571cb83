#pragma once

#include <cstddef>
#include <cstdint>

namespace imageformats {

// Rows that are undone together, and the largest distance to the left neighbour for which they are.
inline constexpr std::uint32_t kWavefrontRows = 4;
inline constexpr std::size_t kWavefrontPixel = 4;

// Undoes the filters of kWavefrontRows rows at once, as UnfilterPngRows. Each row is a pixel behind the one above it,
// whose newest pixel is then its upper neighbour: what waits for its left neighbour does so in four rows at a time.
// False, and nothing done, where row by row is at least as fast, or a filter is unknown. kPixel: 1 to kWavefrontPixel.
template <std::size_t kPixel>
bool UnfilterByWavefront(std::uint8_t* rows, std::size_t stride, std::size_t bytes) noexcept;

extern template bool UnfilterByWavefront<1>(std::uint8_t*, std::size_t, std::size_t) noexcept;
extern template bool UnfilterByWavefront<2>(std::uint8_t*, std::size_t, std::size_t) noexcept;
extern template bool UnfilterByWavefront<3>(std::uint8_t*, std::size_t, std::size_t) noexcept;
extern template bool UnfilterByWavefront<4>(std::uint8_t*, std::size_t, std::size_t) noexcept;

}  // namespace imageformats
