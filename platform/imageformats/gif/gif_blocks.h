#pragma once

#include <cstdint>
#include <string>

#include "platform/imageformats/base/geometry.h"
#include "platform/imageformats/base/input.h"

namespace imageformats {

// What the blocks of a GIF file say, without its pixels.
struct SGifOverview {
  SSize canvas;                // of the screen, or of the first frame where that is larger
  SSize frame;                 // the first one
  std::uint32_t x = 0, y = 0;  // of it on the canvas
  bool interlaced = false;     // it, too
  int transparent = -1;        // its index, or -1
  std::uint32_t frames = 0;
  double frameSeconds = 0.0;  // 0 when it is not known or frames differ
  std::string comment;
  bool isTruncated = false;  // the file ends within a block
};

bool IsGif(const CInput& input) noexcept;

// Throws CDamagedError when there is no frame.
SGifOverview ReadGifOverview(const CInput& input);

}  // namespace imageformats
