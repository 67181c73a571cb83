#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/imageformats/render/tone_map.h"

namespace imageformats {

// 256 display colours, R G B.
using SLookupTable = std::array<std::uint8_t, 768>;

// One channel of a composite: averages of one component, how they are stretched, and the colour of full intensity.
struct SDisplayChannel {
  std::vector<float> samples;
  SDisplayRange range;
  std::uint32_t color = 0xFFFFFF;             // 0x00RRGGBB
  std::shared_ptr<const SLookupTable> table;  // instead of the colour, when the file has one
};

// Colour of channel `index` of `count` when the file names none: grey for a single one; else red, green, blue, grey,
// cyan, magenta, yellow, and again from the start.
std::uint32_t DefaultChannelColor(std::size_t index, std::size_t count) noexcept;
// The colour closest to light of that wavelength (nanometres); 0 for values outside 380..780, which have none.
std::uint32_t WavelengthColor(double nanometres) noexcept;

// Adds the channels up in their colours. Up to three are clamped at white. More of them overlap so much that the sum is
// dimmed: as far as is needed for all but the brightest hundredth of the pixels to stay below white. All have
// size.width
// * size.height samples. Returns R G B bytes, tightly packed. No channels: black.
std::vector<std::uint8_t> CompositeChannels(std::span<const SDisplayChannel> channels, SSize size);

}  // namespace imageformats
