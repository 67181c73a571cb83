#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "platform/imageformats/base/geometry.h"
#include "platform/imageformats/base/input.h"
#include "platform/imageformats/codec/color_table.h"

namespace imageformats {

// One component of pixels of 16 or 32 bits: a run of bits.
struct SBmpMask {
  std::uint32_t shift = 0;
  std::uint32_t most = 0;  // the largest value; 0 when there is no such component

  std::uint8_t Of(std::uint32_t pixel) const noexcept {
    return static_cast<std::uint8_t>((std::uint64_t{pixel >> shift & most} * 255 + most / 2) / most);
  }
};

enum class EBmpCoding { kPlain, kRle4, kRle8 };

// What stands before the pixels of a bitmap of Windows or OS/2.
struct SBmpHeader {
  SSize size;
  bool topDown = false;
  std::uint32_t bits = 0;  // of a pixel: 1, 2, 4, 8, 16, 24 or 32
  EBmpCoding coding = EBmpCoding::kPlain;
  std::array<SBmpMask, 4> masks{};    // R G B, opacity; of 16 and 32 bits
  SColorTable colors;                 // of up to 8 bits
  std::vector<std::uint8_t> profile;  // ICC
  std::uint64_t pixels = 0;           // offset

  bool HasAlpha() const noexcept { return masks[3].most != 0; }
  // Rows are stored in whole words of four bytes.
  std::uint64_t RowBytes() const noexcept { return (std::uint64_t{size.width} * bits + 31) / 32 * 4; }
  std::uint64_t UsedRowBytes() const noexcept { return (std::uint64_t{size.width} * bits + 7) / 8; }
};

bool IsBmp(const CInput& input) noexcept;

// Throws CDamagedError for a header that is impossible, CUnsupportedError for codings other than EBmpCoding.
SBmpHeader ReadBmpHeader(const CInput& input);

}  // namespace imageformats
