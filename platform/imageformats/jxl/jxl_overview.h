#pragma once

#include <cstdint>
#include <vector>

#include "platform/imageformats/base/geometry.h"
#include "platform/imageformats/base/input.h"

namespace imageformats {

// What a JPEG XL file (ISO/IEC 18181) says, without its pixels.
struct SJxlOverview {
  SSize size;  // as stored
  int orientation = 1;
  std::uint32_t colors = 3;  // 1 grey, 3 RGB
  std::uint32_t extraChannels = 0;
  std::uint32_t bits = 8;
  bool isFloat = false;
  bool hasAlpha = false;
  bool premultiplied = false;
  bool hasBlack = false;  // of inks
  std::uint32_t frames = 0;
  double frameSeconds = 0.0;          // 0 when it is not known or frames differ
  std::vector<std::uint8_t> profile;  // of the decoded pixels; empty: sRGB
  std::vector<std::uint8_t> exif;

  bool IsWide() const noexcept { return bits > 8 || isFloat; }
};

// A bare codestream or a container.
bool IsJxl(const CInput& input) noexcept;

// Goes through the whole file. Throws CDamagedError when it is damaged or cut, CUnsupportedError without the library.
SJxlOverview ReadJxlOverview(const CInput& input);

}  // namespace imageformats
