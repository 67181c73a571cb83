#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/imageformats/jpeg2000/codestream.h"

namespace imageformats {

enum class EJp2Color { kUnknown, kGrey, kSrgb, kSycc, kCmyk, kOther };

// The palette of a JP2 file: columns are channels.
struct SJp2Palette {
  std::uint32_t columns = 0;          // 0 without a palette
  std::vector<std::uint8_t> entries;  // on the scale of bytes, row by row
};

// What a JP2 file (ISO/IEC 15444-1, Annex I) says around its codestream; a bare codestream says nothing.
struct SJp2File {
  SCodestreamPlace codestream;
  EJp2Color color = EJp2Color::kUnknown;
  std::vector<std::uint8_t> profile;  // ICC
  SJp2Palette palette;
  std::optional<std::uint32_t> alpha;  // the channel of opacity
  bool premultiplied = false;
  double pixelsPerMetreX = 0.0, pixelsPerMetreY = 0.0;  // when captured; 0 unknown
  std::vector<std::uint8_t> exif;
};

bool IsJp2(const CInput& input) noexcept;

// Throws CDamagedError when there is no codestream, or the boxes before it are damaged.
SJp2File ReadJp2File(const CInput& input);

}  // namespace imageformats
