#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace imageformats::tiff {

// Bytes behind the decoded ones that DecodeLzw may overwrite.
inline constexpr std::size_t kLzwSlack = 16;

// Decodes a strip or tile of TIFF's LZW (TIFF 6.0, section 13) that fills `size` bytes exactly. False for anything
// unusual (the bit order of old writers, codes that were never made, data that end early): libtiff is to judge that.
// `out` has kLzwSlack more bytes.
bool DecodeLzw(std::span<const std::uint8_t> stream, std::uint8_t* out, std::size_t size) noexcept;

// Undoes the horizontal predictor of 8-bit samples in a row of `size` bytes.
void UndoHorizontalPredictor(std::uint8_t* row, std::size_t size, std::size_t samplesPerPixel) noexcept;

}  // namespace imageformats::tiff
