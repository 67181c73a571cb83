#include "platform/imageformats/render/orientation.h"

#include <cstring>

namespace imageformats {

namespace {

template <std::size_t kBytes>
void PlacePixels(std::uint8_t* out, std::ptrdiff_t step, const std::uint8_t* in, std::uint32_t count) noexcept {
  for (std::uint32_t i = 0; i < count; ++i, out += step, in += kBytes) std::memcpy(out, in, kBytes);
}

}  // namespace

COrientedPlacement::COrientedPlacement(SSize stored, EOrientation o, std::size_t pixelBytes, void* displayed,
                                       std::size_t stride) noexcept
    : m_stored(stored), m_orientation(o), m_pixelBytes(pixelBytes), m_origin(static_cast<std::uint8_t*>(displayed)) {
  const SSize shown = DisplayedSize(stored, o);
  const auto pixel = static_cast<std::ptrdiff_t>(pixelBytes);
  const auto row = static_cast<std::ptrdiff_t>(stride);
  const std::ptrdiff_t right = pixel * (static_cast<std::ptrdiff_t>(shown.width) - 1);
  const std::ptrdiff_t bottom = row * (static_cast<std::ptrdiff_t>(shown.height) - 1);
  const bool fromRight = o == EOrientation::kTopRight || o == EOrientation::kBottomRight ||
                         o == EOrientation::kRightTop || o == EOrientation::kRightBottom;
  const bool fromBottom = o == EOrientation::kBottomRight || o == EOrientation::kBottomLeft ||
                          o == EOrientation::kRightBottom || o == EOrientation::kLeftBottom;
  if (fromRight) m_origin += right;
  if (fromBottom) m_origin += bottom;
  const std::ptrdiff_t along = fromRight ? -pixel : pixel;
  const std::ptrdiff_t down = fromBottom ? -row : row;
  m_stepX = SwapsAxes(o) ? down : along;
  m_stepY = SwapsAxes(o) ? along : down;
}

void COrientedPlacement::PlaceRun(std::uint32_t x, std::uint32_t y, std::uint32_t count,
                                  const void* pixels) const noexcept {
  std::uint8_t* out = m_origin + m_stepY * static_cast<std::ptrdiff_t>(y) + m_stepX * static_cast<std::ptrdiff_t>(x);
  const auto* in = static_cast<const std::uint8_t*>(pixels);
  if (m_stepX == static_cast<std::ptrdiff_t>(m_pixelBytes)) {
    if (out != in) std::memcpy(out, in, count * m_pixelBytes);
    return;
  }
  switch (m_pixelBytes) {
    case 1:
      return PlacePixels<1>(out, m_stepX, in, count);
    case 2:
      return PlacePixels<2>(out, m_stepX, in, count);
    case 3:
      return PlacePixels<3>(out, m_stepX, in, count);
    case 4:
      return PlacePixels<4>(out, m_stepX, in, count);
    case 6:
      return PlacePixels<6>(out, m_stepX, in, count);
    default:
      for (std::uint32_t i = 0; i < count; ++i, out += m_stepX, in += m_pixelBytes) std::memcpy(out, in, m_pixelBytes);
  }
}

void* COrientedPlacement::DirectRow(std::uint32_t y) const noexcept {
  if (m_orientation != EOrientation::kTopLeft && m_orientation != EOrientation::kBottomLeft) return nullptr;
  return m_origin + m_stepY * static_cast<std::ptrdiff_t>(y);
}

}  // namespace imageformats
