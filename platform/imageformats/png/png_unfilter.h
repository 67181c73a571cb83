#pragma once

#include <cstddef>
#include <cstdint>

namespace imageformats {

// The filters of a row (ISO/IEC 15948, 9.2), by the numbers of their bytes.
enum EPngFilter : std::uint8_t { kPngNone, kPngSub, kPngUp, kPngAverage, kPngPaeth };

// Undoes the filters of `count` rows in place, which lie `stride` bytes apart, each of `bytes` bytes behind the byte of
// its filter; `rows` is the first one's first byte behind it. One `stride` before it lies the unfiltered row above, or
// zeros. `pixelBytes` is the distance to the left neighbour (at least 1); `stride` is larger than `bytes`. False for an
// unknown filter; the rows from there on are then undefined.
bool UnfilterPngRows(std::uint8_t* rows, std::size_t stride, std::uint32_t count, std::size_t bytes,
                     std::size_t pixelBytes) noexcept;

}  // namespace imageformats
