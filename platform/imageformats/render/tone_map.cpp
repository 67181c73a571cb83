#include "platform/imageformats/render/tone_map.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace imageformats {

namespace {

constexpr double kLowQuantile = 0.001;
constexpr double kHighQuantile = 0.999;

std::vector<float> FiniteSamples(std::span<const float> samples, std::size_t first, std::size_t step) {
  std::vector<float> finite;
  finite.reserve(samples.size() / step + 1);
  for (std::size_t i = first; i < samples.size(); i += step) {
    if (std::isfinite(samples[i])) finite.push_back(samples[i]);
  }
  return finite;
}

SDisplayRange Widened(const SDisplayRange& nominal, double value) {
  return {std::min(nominal.low, value), std::max(nominal.high, value)};
}

}  // namespace

bool Differ(double low, double high) noexcept {
  return std::fabs(high - low) > 1e-6 * std::max(std::fabs(low), std::fabs(high));
}

SDisplayRange NominalRange(std::uint32_t significantBits) noexcept {
  return {0.0, std::ldexp(1.0, static_cast<int>(std::clamp<std::uint32_t>(significantBits, 1, 64))) - 1.0};
}

SDisplayRange PercentileRange(std::span<const float> samples, std::size_t first, std::size_t step,
                              const SDisplayRange& nominal) {
  std::vector<float> finite = FiniteSamples(samples, first, step);
  if (finite.empty()) return nominal;
  const double last = static_cast<double>(finite.size() - 1);
  const auto low = finite.begin() + std::lround(kLowQuantile * last);
  const auto high = finite.begin() + std::lround(kHighQuantile * last);
  std::nth_element(finite.begin(), low, finite.end());
  const float lowValue = *low;  // the second selection moves it
  std::nth_element(low, high, finite.end());
  if (Differ(lowValue, *high)) return {lowValue, *high};
  // Fewer than 0.1 % of the pixels differ from the rest: they are what there is to see.
  const auto [least, most] = std::minmax_element(finite.begin(), finite.end());
  if (Differ(*least, *most)) return {*least, *most};
  return Widened(nominal, *least);
}

SDisplayRange PercentileRange(const SAveragedPicture& picture, std::uint32_t components, const SDisplayRange& nominal) {
  SDisplayRange all = PercentileRange(picture.samples, 0, picture.components, nominal);
  for (std::uint32_t k = 1; k < components; ++k) {
    const SDisplayRange one = PercentileRange(picture.samples, k, picture.components, nominal);
    all = {std::min(all.low, one.low), std::max(all.high, one.high)};
  }
  return all;
}

bool IsNearlyBlack(std::span<const float> samples, const SDisplayRange& nominal) noexcept {
  const float limit = static_cast<float>(nominal.low + (nominal.high - nominal.low) / 6.0);
  const auto isDark = [=](float value) { return !(value >= limit); };
  const auto differs = [&](float value) { return Differ(samples.front(), value); };
  return std::all_of(samples.begin(), samples.end(), isDark) && std::any_of(samples.begin(), samples.end(), differs);
}

float Normalised(float value, const SDisplayRange& range) noexcept {
  const double share = (static_cast<double>(value) - range.low) / (range.high - range.low);
  return share > 0.0 ? static_cast<float>(std::min(share, 1.0)) : 0.0f;
}

std::uint8_t ToneMapped(float value, const SDisplayRange& range) noexcept {
  return static_cast<std::uint8_t>(Normalised(value, range) * 255.0f + 0.5f);
}

}  // namespace imageformats
