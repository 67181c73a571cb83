#include "platform/imageformats/png/png_display.h"

#include <algorithm>
#include <cmath>

#include "platform/imageformats/render/alpha.h"

namespace imageformats {

namespace {

constexpr double kScreenGamma = 2.2;
constexpr double kGammaTolerance = 0.05;  // differences below it are not seen; libpng's threshold

// IEC 61966-2-1.
double SrgbFromLinear(double light) {
  return light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1.0 / 2.4) - 0.055;
}

bool NeedsCorrection(const SPngHeader& header) {
  const bool isGrey = (header.colorType & 2) == 0;
  if (header.isSrgb || !header.profile.empty() || (isGrey && header.bitDepth == 16)) return false;
  return header.gamma >= 0.01 && std::abs(header.gamma * kScreenGamma - 1.0) >= kGammaTolerance;
}

}  // namespace

void BlendPngRowOverWhite(const CPngRowConverter& pixels, std::uint8_t* row, std::uint32_t width) noexcept {
  if (!pixels.HasAlpha()) return;
  const std::uint32_t colors = pixels.Components() - 1;
  if (pixels.SampleBytes() == 2) {
    auto* wide = reinterpret_cast<std::uint16_t*>(row);
    BlendOverWhite(wide, width, colors, false, 65535, wide);
  } else {
    BlendOverWhite(row, width, colors, false, row);
  }
}

void CorrectPngGamma(const SPngHeader& header, double most, SAveragedPicture& averages) {
  if (!NeedsCorrection(header)) return;
  for (float& sample : averages.samples) {
    const double stored = std::clamp(static_cast<double>(sample) / most, 0.0, 1.0);
    sample = static_cast<float>(most * SrgbFromLinear(std::pow(stored, 1.0 / header.gamma)));
  }
}

}  // namespace imageformats
