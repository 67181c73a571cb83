#pragma once

#include <cstdint>
#include <vector>

#include "platform/imageformats/base/geometry.h"
#include "platform/imageformats/base/input.h"

namespace imageformats {

// What the chunks of a WebP file (RFC 9649) say, without its pixels.
struct SWebpOverview {
  SSize canvas;
  SSize frame;                 // the first one
  std::uint32_t x = 0, y = 0;  // of it on the canvas
  bool hasAlpha = false;
  bool isLossless = false;
  std::uint64_t stream = 0, streamSize = 0;  // of the first frame's chunks of opacity and pixels
  std::uint32_t frames = 0;
  double frameSeconds = 0.0;  // 0 when it is not known or frames differ
  std::vector<std::uint8_t> profile, exif;
  bool isTruncated = false;  // the file ends within a chunk
};

bool IsWebp(const CInput& input) noexcept;

// Throws CDamagedError when there is no frame, or its head is damaged.
SWebpOverview ReadWebpOverview(const CInput& input);

}  // namespace imageformats
