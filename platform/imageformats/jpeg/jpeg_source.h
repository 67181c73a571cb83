#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>

#include <jpeglib.h>

#include "platform/imageformats/base/input.h"

namespace imageformats {

// Feeds libjpeg from a file or memory. Behind the end it delivers end-of-image markers: a picture that lacks data then
// shows by libjpeg's warning, one that merely lacks the marker does not. Never fails by itself.
struct SJpegSource {
  jpeg_source_mgr base;  // first: libjpeg knows only this part
  const CInput* file;    // null when reading memory
  std::uint64_t offset;  // of what will be read next
  std::uint64_t size;
  bool pastEnd;  // more was asked for than there is
  JOCTET buffer[32768];
};

void InitJpegSource(SJpegSource& source, const CInput& input) noexcept;
void InitJpegSource(SJpegSource& source, std::span<const std::uint8_t> memory) noexcept;
// Position in the input of the next byte that libjpeg has not taken.
std::uint64_t JpegSourcePosition(const SJpegSource& source) noexcept;

}  // namespace imageformats
