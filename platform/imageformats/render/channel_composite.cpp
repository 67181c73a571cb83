#include "platform/imageformats/render/channel_composite.h"

#include <algorithm>
#include <cmath>

namespace imageformats {

namespace {

SLookupTable TableOfColor(std::uint32_t color) {
  SLookupTable table;
  for (std::uint32_t v = 0; v < 256; ++v) {
    for (std::uint32_t k = 0; k < 3; ++k) {
      const std::uint32_t full = (color >> (16 - 8 * k)) & 0xFF;
      table[3 * v + k] = static_cast<std::uint8_t>((full * v + 127) / 255);
    }
  }
  return table;
}

std::uint32_t Packed(double r, double g, double b) {
  // The eye's rendition is not linear; the exponent is Bruton's.
  const auto byte = [](double v) { return static_cast<std::uint32_t>(std::lround(255.0 * std::pow(v, 0.8))); };
  return byte(r) << 16 | byte(g) << 8 | byte(b);
}

constexpr std::size_t kMostClampedChannels = 3;
constexpr std::size_t kBrightShare = 100;  // one pixel of so many may be white though it is not

// The sum that is shown as white: not less than one channel's.
std::uint32_t WhiteOf(const std::vector<std::uint16_t>& sums) {
  std::vector<std::uint16_t> brightest(sums.size() / 3);
  for (std::size_t i = 0; i < brightest.size(); ++i) {
    brightest[i] = std::max({sums[3 * i], sums[3 * i + 1], sums[3 * i + 2]});
  }
  const auto last = brightest.end() - 1 - static_cast<std::ptrdiff_t>(brightest.size() / kBrightShare);
  std::nth_element(brightest.begin(), last, brightest.end());
  return std::max<std::uint32_t>(*last, 255);
}

}  // namespace

std::uint32_t DefaultChannelColor(std::size_t index, std::size_t count) noexcept {
  constexpr std::uint32_t kColors[] = {0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF, 0x00FFFF, 0xFF00FF, 0xFFFF00};
  return count <= 1 ? 0xFFFFFF : kColors[index % std::size(kColors)];
}

// D. Bruton, "Approximate RGB values for visible wavelengths" (1996), without the fading at the ends: a far-red dye
// should be seen.
std::uint32_t WavelengthColor(double nanometres) noexcept {
  const double w = nanometres;
  if (!(w >= 380.0 && w <= 780.0)) return 0;
  if (w < 440.0) return Packed((440.0 - w) / 60.0, 0.0, 1.0);
  if (w < 490.0) return Packed(0.0, (w - 440.0) / 50.0, 1.0);
  if (w < 510.0) return Packed(0.0, 1.0, (510.0 - w) / 20.0);
  if (w < 580.0) return Packed((w - 510.0) / 70.0, 1.0, 0.0);
  if (w < 645.0) return Packed(1.0, (645.0 - w) / 65.0, 0.0);
  return 0xFF0000;
}

std::vector<std::uint8_t> CompositeChannels(std::span<const SDisplayChannel> channels, SSize size) {
  const std::size_t pixels = std::size_t{size.width} * size.height;
  std::vector<std::uint16_t> sums(pixels * 3);
  for (const SDisplayChannel& channel : channels) {
    const SLookupTable table = channel.table ? *channel.table : TableOfColor(channel.color);
    for (std::size_t i = 0; i < pixels; ++i) {
      const std::uint8_t* color = &table[3 * std::size_t{ToneMapped(channel.samples[i], channel.range)}];
      for (std::size_t k = 0; k < 3; ++k) sums[3 * i + k] = static_cast<std::uint16_t>(sums[3 * i + k] + color[k]);
    }
  }
  const std::uint32_t white = channels.size() > kMostClampedChannels ? WhiteOf(sums) : 255;
  std::vector<std::uint8_t> rgb(pixels * 3);
  for (std::size_t i = 0; i < rgb.size(); ++i) {
    rgb[i] = static_cast<std::uint8_t>(std::min((sums[i] * 255u + white / 2) / white, 255u));
  }
  return rgb;
}

}  // namespace imageformats
