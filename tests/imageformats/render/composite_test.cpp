#include <gtest/gtest.h>

#include <cmath>

#include "platform/imageformats/render/channel_composite.h"

namespace imageformats {
namespace {

TEST(CompositeChannels, AddsColoursAndClampsAtWhite) {
  SDisplayChannel red, green;
  red.color = 0xFF0000;
  red.samples = {0, 100, 50};
  red.range = {0, 100};
  green.color = 0x80FF00;
  green.samples = {10, 20, 10};
  green.range = {10, 20};
  const SDisplayChannel channels[] = {red, green};
  EXPECT_EQ(CompositeChannels(channels, {3, 1}), (std::vector<std::uint8_t>{0, 0, 0, 255, 255, 0, 128, 0, 0}));
}

TEST(CompositeChannels, ATableReplacesTheColour) {
  auto table = std::make_shared<SLookupTable>();
  table->fill(0);
  (*table)[3 * 255 + 2] = 77;
  SDisplayChannel channel;
  channel.samples = {1.0f, 0.0f};
  channel.range = {0, 1};
  channel.table = table;
  EXPECT_EQ(CompositeChannels({&channel, 1}, {2, 1}), (std::vector<std::uint8_t>{0, 0, 77, 0, 0, 0}));
}

// Five channels that all have the same picture, whose pixels go from black to white.
TEST(CompositeChannels, ManyChannelsThatOverlapDoNotAddUpToWhite) {
  std::vector<SDisplayChannel> channels(5);
  for (std::size_t i = 0; i < channels.size(); ++i) {
    channels[i].color = DefaultChannelColor(i, channels.size());
    channels[i].range = {0, 255};
    for (int v = 0; v < 256; ++v) channels[i].samples.push_back(static_cast<float>(v));
  }
  const std::vector<std::uint8_t> rgb = CompositeChannels(channels, {256, 1});
  EXPECT_EQ(rgb[3 * 255 + 1], 255);
  EXPECT_NEAR(rgb[3 * 128 + 1], 129, 2);
  EXPECT_NEAR(rgb[3 * 64 + 1], 65, 2);
}

TEST(CompositeChannels, ManyChannelsThatDoNotOverlapKeepTheirLight) {
  std::vector<SDisplayChannel> channels(5);
  for (std::size_t i = 0; i < channels.size(); ++i) {
    channels[i].color = DefaultChannelColor(i, channels.size());
    channels[i].range = {0, 1};
    for (std::size_t pixel = 0; pixel < channels.size(); ++pixel) {
      channels[i].samples.push_back(pixel == i ? 1.0f : 0.0f);
    }
  }
  const std::vector<std::uint8_t> rgb = CompositeChannels(channels, {5, 1});
  EXPECT_EQ(rgb, (std::vector<std::uint8_t>{255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255, 0, 255, 255}));
}

TEST(CompositeChannels, NoChannelsAreBlackAndNaNToo) {
  EXPECT_EQ(CompositeChannels({}, {1, 1}), (std::vector<std::uint8_t>{0, 0, 0}));
  SDisplayChannel channel;
  channel.samples = {NAN};
  EXPECT_EQ(CompositeChannels({&channel, 1}, {1, 1}), (std::vector<std::uint8_t>{0, 0, 0}));
}

TEST(DefaultChannelColor, IsGreyForOneAndDistinctForSeveral) {
  EXPECT_EQ(DefaultChannelColor(0, 1), 0xFFFFFFu);
  EXPECT_EQ(DefaultChannelColor(0, 3), 0xFF0000u);
  EXPECT_EQ(DefaultChannelColor(1, 3), 0x00FF00u);
  EXPECT_EQ(DefaultChannelColor(2, 3), 0x0000FFu);
  EXPECT_EQ(DefaultChannelColor(7, 20), DefaultChannelColor(0, 20));
}

TEST(WavelengthColor, FollowsTheSpectrum) {
  const auto red = [](std::uint32_t c) { return c >> 16 & 255; };
  const auto green = [](std::uint32_t c) { return c >> 8 & 255; };
  const auto blue = [](std::uint32_t c) { return c & 255; };
  EXPECT_GT(blue(WavelengthColor(455)), green(WavelengthColor(455)));  // DAPI
  EXPECT_GT(green(WavelengthColor(520)), red(WavelengthColor(520)));   // GFP
  EXPECT_EQ(WavelengthColor(670), 0xFF0000u);                          // far red is seen as red
  EXPECT_EQ(WavelengthColor(0), 0u);
  EXPECT_EQ(WavelengthColor(900), 0u);
  EXPECT_EQ(WavelengthColor(NAN), 0u);
}

}  // namespace
}  // namespace imageformats
