#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/imageformats/base/geometry.h"

namespace imageformats {

// Where the stored picture's first row and first column lie when displayed (TIFF 6.0, tag 274; EXIF the same).
enum class EOrientation : std::uint8_t {
  kTopLeft = 1,
  kTopRight = 2,
  kBottomRight = 3,
  kBottomLeft = 4,
  kLeftTop = 5,
  kRightTop = 6,
  kRightBottom = 7,
  kLeftBottom = 8,
};

// kTopLeft for anything but 1..8.
constexpr EOrientation OrientationFromTag(std::uint32_t value) noexcept {
  return value >= 1 && value <= 8 ? static_cast<EOrientation>(value) : EOrientation::kTopLeft;
}
constexpr bool SwapsAxes(EOrientation o) noexcept { return o >= EOrientation::kLeftTop; }
// The displayed size of a stored picture; the same function leads back.
constexpr SSize DisplayedSize(SSize stored, EOrientation o) noexcept {
  return SwapsAxes(o) ? SSize{stored.height, stored.width} : stored;
}

// Places stored rows at their displayed positions, row by row, so that no second picture is needed.
class COrientedPlacement {
 public:
  // `displayed` has DisplayedSize(stored, o) pixels of pixelBytes each, rows `stride` bytes apart.
  COrientedPlacement(SSize stored, EOrientation o, std::size_t pixelBytes, void* displayed,
                     std::size_t stride) noexcept;
  // `row` holds stored.width pixels; y < stored.height.
  void PlaceRow(std::uint32_t y, const void* row) const noexcept { PlaceRun(0, y, m_stored.width, row); }
  // Part of a stored row: `count` pixels from x on, all within the picture.
  void PlaceRun(std::uint32_t x, std::uint32_t y, std::uint32_t count, const void* pixels) const noexcept;
  // Where stored row y starts, when whole rows keep their order (kTopLeft, kBottomLeft): decode straight into it. Null
  // otherwise.
  void* DirectRow(std::uint32_t y) const noexcept;

 private:
  SSize m_stored;
  EOrientation m_orientation;
  std::size_t m_pixelBytes;
  std::uint8_t* m_origin;  // where stored pixel (0, 0) goes
  std::ptrdiff_t m_stepX;  // bytes from a stored pixel to its right neighbour, displayed
  std::ptrdiff_t m_stepY;  // bytes from a stored row to the next, displayed
};

}  // namespace imageformats
