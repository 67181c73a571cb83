#include "platform/imageformats/jpeg2000/plane_mixer.h"

#include <algorithm>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/render/ycc.h"

namespace imageformats {

namespace {

constexpr std::uint32_t MostOf(std::uint32_t bits) noexcept { return (1u << std::min(bits, 31u)) - 1; }

std::uint32_t Rescaled(std::uint32_t value, std::uint32_t bits, std::uint32_t white) noexcept {
  const std::uint32_t most = MostOf(bits);
  value = std::min(value, most);
  return most == white ? value : static_cast<std::uint32_t>((std::uint64_t{value} * white + most / 2) / most);
}

template <class T>
void PutPlane(const SJpeg2000Plane& plane, const SJpeg2000Plane& first, std::uint32_t y, std::uint32_t white, T* out,
              std::size_t step) {
  const std::uint32_t row = std::min(y * first.stepY / plane.stepY, plane.height - 1);
  const bool isSameWidth = plane.width == first.width && plane.stepX == first.stepX;
  for (std::uint32_t x = 0; x < first.width; ++x, out += step) {
    const std::uint32_t column = isSameWidth ? x : std::min(x * first.stepX / plane.stepX, plane.width - 1);
    *out = static_cast<T>(Rescaled(plane.At(column, row), plane.bits, white));
  }
}

template <class T>
void MixPlanes(const SJpeg2000Mix& mix, const CJpeg2000Decoder& decoder, std::uint32_t y, T* out) {
  const SJpeg2000Plane first = decoder.Plane(0);
  const std::size_t step = mix.planes.size();
  for (std::size_t c = 0; c < step; ++c) {
    PutPlane(decoder.Plane(mix.planes[c]), first, y, mix.white, out + c, step);
  }
  if (mix.isYcc) RgbFromYcc(first.width, mix.white, out, step);
}

void LookUpRow(const SJp2Palette& palette, const CJpeg2000Decoder& decoder, std::uint32_t y, std::uint8_t* out) {
  const SJpeg2000Plane plane = decoder.Plane(0);
  const std::size_t last = palette.entries.size() / palette.columns - 1;
  for (std::uint32_t x = 0; x < plane.width; ++x) {
    const std::uint8_t* entry = &palette.entries[std::min<std::size_t>(plane.At(x, y), last) * palette.columns];
    out = std::copy_n(entry, palette.columns, out);
  }
}

EColorModel ModelOf(const SJp2File& file, std::uint32_t colors) {
  if (file.color == EJp2Color::kOther) throw CUnsupportedError("The colour space of the JP2 file is not supported");
  if (file.color == EJp2Color::kCmyk && colors >= 4) return EColorModel::kCmyk;
  return colors >= 3 && file.color != EJp2Color::kGrey ? EColorModel::kRgb : EColorModel::kGrey;
}

bool HoldsYcc(const SJp2File& file, const CJpeg2000Decoder& decoder) {
  if (file.color != EJp2Color::kUnknown || !file.profile.empty()) return file.color == EJp2Color::kSycc;
  return decoder.Plane(1).stepX > decoder.Plane(0).stepX;  // colours are never sampled less often
}

}  // namespace

SJpeg2000Mix MixOf(const SJp2File& file, const CJpeg2000Decoder& decoder) {
  SJpeg2000Mix mix;
  const bool hasPalette = file.palette.columns != 0;
  const std::uint32_t channels = hasPalette ? file.palette.columns : decoder.Planes();
  mix.hasAlpha = file.alpha && *file.alpha < channels && channels > 1;
  mix.premultiplied = file.premultiplied;
  mix.model = ModelOf(file, channels - (mix.hasAlpha ? 1 : 0));
  const std::uint32_t colors = ModelComponents(mix.model);
  if (hasPalette) {
    const bool fits = channels == colors + (mix.hasAlpha ? 1 : 0) && (!mix.hasAlpha || *file.alpha == colors);
    if (!fits) throw CUnsupportedError("A palette of this kind in a JP2 file is not supported");
    mix.palette = file.palette;
    return mix;
  }
  for (std::uint32_t plane = 0; mix.planes.size() < colors; ++plane) {
    if (!mix.hasAlpha || plane != *file.alpha) mix.planes.push_back(plane);
  }
  mix.isYcc = mix.model == EColorModel::kRgb && HoldsYcc(file, decoder);
  std::uint32_t bits = 8;
  for (const std::uint32_t plane : mix.planes) bits = std::max(bits, decoder.Plane(plane).bits);
  mix.white = MostOf(std::min(bits, 16u));
  if (mix.hasAlpha) mix.planes.push_back(*file.alpha);
  return mix;
}

void MixRow(const SJpeg2000Mix& mix, const CJpeg2000Decoder& decoder, std::uint32_t y, std::uint8_t* out) {
  if (mix.palette.columns != 0) {
    LookUpRow(mix.palette, decoder, y, out);
  } else if (mix.white > 255) {
    MixPlanes(mix, decoder, y, reinterpret_cast<std::uint16_t*>(out));
  } else {
    MixPlanes(mix, decoder, y, out);
  }
}

bool MixTile(const SJpeg2000Mix& mix, const CJpeg2000Decoder& decoder, SSize size, std::size_t stride,
             std::size_t pixelBytes, std::uint8_t* rows) {
  const SJpeg2000Plane first = decoder.Plane(0);
  const std::uint32_t x = decoder.TileX(), y = decoder.TileY();
  const bool isInside =
      x <= size.width && first.width <= size.width - x && y <= size.height && first.height <= size.height - y;
  if (!isInside) return false;
  for (std::uint32_t row = 0; row < first.height; ++row) {
    MixRow(mix, decoder, row, rows + (y + row) * stride + x * pixelBytes);
  }
  return true;
}

}  // namespace imageformats
