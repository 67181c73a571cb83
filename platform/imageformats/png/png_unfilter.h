#pragma once

#include <cstddef>
#include <cstdint>

namespace imageformats {

// Undoes a row's filter in place (ISO/IEC 15948, 9.2). `above` is the unfiltered row above, null for the first row;
// `pixelBytes` is the distance to the left neighbour (at least 1). False for an unknown filter.
bool UnfilterPngRow(std::uint8_t filter, std::uint8_t* row, const std::uint8_t* above, std::size_t bytes,
                    std::size_t pixelBytes) noexcept;

}  // namespace imageformats
