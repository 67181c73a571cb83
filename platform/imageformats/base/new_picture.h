#pragma once

#include <cstdint>
#include <new>

#include "picture/qvpicture.h"

namespace imageformats {

// A picture of that shape; its pixels are undefined. Throws std::bad_alloc, also for an impossible shape.
inline CQvPicture NewPicture(std::uint32_t width, std::uint32_t height, std::uint32_t bpc, std::uint32_t components) {
  CQvPicture picture;
  if (!picture.Reinit(width, height, bpc, components, false)) throw std::bad_alloc();
  return picture;
}

}  // namespace imageformats
