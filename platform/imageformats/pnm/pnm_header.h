#pragma once

#include <cstdint>
#include <string>

#include "platform/imageformats/base/buffered_input.h"
#include "platform/imageformats/base/geometry.h"

namespace imageformats {

// What stands before the pixels of PBM, PGM, PPM (plain and raw) and PAM.
struct SPnmHeader {
  SSize size;
  std::uint32_t depth = 1;   // samples per pixel: 1 grey, 2 grey and opacity, 3 colours, 4 colours and opacity
  std::uint32_t most = 1;    // the samples' largest value, 1..65535
  bool isPlain = false;      // numbers as text
  bool isBitmap = false;     // PBM: bits, 1 is black
  std::string comment;       // lines behind '#'
  std::uint64_t pixels = 0;  // offset

  // Of raw rows.
  std::uint64_t RowBytes() const noexcept {
    if (isBitmap) return (std::uint64_t{size.width} + 7) / 8;
    return std::uint64_t{size.width} * depth * (most > 255 ? 2 : 1);
  }
};

bool IsPnm(const CInput& input) noexcept;

// Throws CDamagedError for a header that is impossible, CUnsupportedError for other numbers of samples.
SPnmHeader ReadPnmHeader(const CInput& input);

// The number that follows, blanks and comments before it skipped; `comment`, unless null, receives those. Throws
// CDamagedError when there is none or it has more than nine digits.
std::uint32_t NextPnmNumber(CBufferedInput& input, std::string* comment);

}  // namespace imageformats
