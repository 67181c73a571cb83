#include "platform/imageformats/render/tone_map.h"

#include <algorithm>
#include <cmath>

#include "platform/imageformats/render/sample_order.h"

namespace imageformats {

namespace {

constexpr double kLowQuantile = 0.001;
constexpr double kHighQuantile = 0.999;

SDisplayRange Widened(const SDisplayRange& nominal, double value) {
  return {std::min(nominal.low, value), std::max(nominal.high, value)};
}

}  // namespace

SDisplayRange NominalRange(std::uint32_t significantBits) noexcept {
  return {0.0, std::ldexp(1.0, static_cast<int>(std::clamp<std::uint32_t>(significantBits, 1, 64))) - 1.0};
}

SDisplayRange PercentileRange(std::span<const float> samples, std::size_t first, std::size_t step,
                              const SDisplayRange& nominal) {
  const CSampleOrder order(samples, first, step);
  if (order.Count() == 0) return nominal;
  const auto at = [&order, last = static_cast<double>(order.Count() - 1)](double quantile) {
    return order.At(static_cast<std::size_t>(std::lround(quantile * last)));
  };
  const float low = at(kLowQuantile), high = at(kHighQuantile);
  if (Differ(low, high)) return {low, high};
  // Fewer than 0.1 % of the pixels differ from the rest: they are what there is to see.
  if (Differ(order.Least(), order.Most())) return {order.Least(), order.Most()};
  return Widened(nominal, order.Least());
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
