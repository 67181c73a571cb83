#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/imageformats/render/area_reducer.h"

namespace imageformats {

// The values shown as black and as white; low < high once chosen.
struct SDisplayRange {
  double low = 0.0;
  double high = 255.0;
};

// Whether two averages differ by more than what rounding makes of equal samples.
inline bool Differ(double low, double high) noexcept {
  return std::fabs(high - low) > 1e-6 * std::max(std::fabs(low), std::fabs(high));
}

// 0 and the largest value of `significantBits`.
SDisplayRange NominalRange(std::uint32_t significantBits) noexcept;

// The 0.1 and 99.9 percentiles of one component of the averages (samples first, first + step, …), without regard to
// values that are not finite. A picture of one value is shown on `nominal`, widened to hold the value.
SDisplayRange PercentileRange(std::span<const float> samples, std::size_t first, std::size_t step,
                              const SDisplayRange& nominal);
// One range for all components of a picture, so that colours keep their hue: the widest of the components'.
SDisplayRange PercentileRange(const SAveragedPicture& picture, std::uint32_t components, const SDisplayRange& nominal);

// Whether samples that are shown on `nominal` would be nearly black: they differ, and none reaches a sixth of white.
// Masks of 0 and 1 are such pictures.
bool IsNearlyBlack(std::span<const float> samples, const SDisplayRange& nominal) noexcept;

// 0..1 within the range, clamped; NaN is black.
float Normalised(float value, const SDisplayRange& range) noexcept;
// The same on 0..255, rounded.
std::uint8_t ToneMapped(float value, const SDisplayRange& range) noexcept;

}  // namespace imageformats
