#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/imageformats/tiff/blocks/block_source.h"

namespace imageformats::tiff {

// The type that samples of a layout are widened to: the smallest that holds them.
ESampleType UnpackedType(const SDecodedLayout& layout) noexcept;

// Whether decoded rows are arrays of that type as they are.
bool IsUnpacked(const SDecodedLayout& layout) noexcept;

// Widens `count` samples of a decoded row to UnpackedType(layout). Half and 24-bit floats become single ones (IEEE 754
// binary16; TIFF Technical Note 3 for 24 bits).
void UnpackRow(const SDecodedLayout& layout, const std::uint8_t* row, std::size_t count, void* out) noexcept;

}  // namespace imageformats::tiff
