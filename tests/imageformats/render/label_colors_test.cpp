#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "platform/imageformats/render/label_colors.h"
#include "platform/imageformats/render/nearest_sampler.h"

namespace imageformats {
namespace {

constexpr std::uint32_t kSide = 64;

template <class Value>
SAveragedPicture PictureOf(Value&& value) {
  SAveragedPicture picture{{kSide, kSide}, 1, {}};
  for (std::uint32_t y = 0; y < kSide; ++y) {
    for (std::uint32_t x = 0; x < kSide; ++x) picture.samples.push_back(static_cast<float>(value(x, y)));
  }
  return picture;
}

// Squares of 12 pixels, 4 apart, numbered from 1 on in no order.
float LabelAt(std::uint32_t x, std::uint32_t y) {
  if (x % 16 < 4 || y % 16 < 4) return 0.0f;
  return static_cast<float>(1 + (x / 16 * 7 + y / 16 * 3) % 16);
}

TEST(AreLabels, KnowsNumberedAreas) { EXPECT_TRUE(AreLabels(PictureOf(LabelAt))); }

TEST(AreLabels, KnowsAreasThatTouch) {
  EXPECT_TRUE(AreLabels(PictureOf([](auto x, auto y) { return y < 8 ? 0 : 1 + (x / 16 * 7 + y / 16 * 3) % 16; })));
}

TEST(AreLabels, TakesNoOrdinaryPictureForLabels) {
  EXPECT_FALSE(AreLabels(PictureOf([](auto x, auto) { return x / 4; }))) << "a ramp";
  EXPECT_FALSE(AreLabels(PictureOf([](auto x, auto y) { return (x * 31 + y * 17) % 7; }))) << "noise";
  EXPECT_FALSE(AreLabels(PictureOf([](auto x, auto y) { return x > 8 && y > 8 ? 1 : 0; }))) << "a mask";
  EXPECT_FALSE(AreLabels(PictureOf([](auto x, auto y) { return LabelAt(x, y) * 16; }))) << "a drawing of few greys";
  EXPECT_FALSE(AreLabels(PictureOf([](auto x, auto y) { return LabelAt(x, y) * 0.5f; }))) << "no whole numbers";
  EXPECT_FALSE(AreLabels(PictureOf([](auto x, auto y) { return LabelAt(x, y) + 1; }))) << "no background";
  EXPECT_FALSE(AreLabels(PictureOf([](auto, auto) { return NAN; })));
  const auto blob = [](auto x, auto y) {
    const double dx = static_cast<double>(x) - 32, dy = static_cast<double>(y) - 32;
    return std::floor(20 * std::exp(-(dx * dx + dy * dy) / 300));
  };
  EXPECT_FALSE(AreLabels(PictureOf(blob))) << "something dim without noise";
}

TEST(ColorLabels, BlackIsTheBackgroundOnlyAndNumbersThatFollowDiffer) {
  SAveragedPicture run{{40, 1}, 1, {}};
  for (int i = 0; i < 40; ++i) run.samples.push_back(static_cast<float>(i));
  const std::vector<std::uint8_t> rgb = ColorLabels(run);
  EXPECT_EQ(*std::max_element(rgb.begin(), rgb.begin() + 3), 0);
  std::set<std::vector<std::uint8_t>> colors;
  for (std::size_t i = 1; i < 40; ++i) {
    const std::vector<std::uint8_t> color(rgb.begin() + 3 * i, rgb.begin() + 3 * i + 3);
    EXPECT_GE(*std::max_element(color.begin(), color.end()), 200) << i;
    colors.insert(color);
    if (i < 2) continue;
    const auto far = [&](std::size_t k) { return std::abs(rgb[3 * i + k] - rgb[3 * (i - 1) + k]); };
    EXPECT_GE(std::max({far(0), far(1), far(2)}), 100) << i;
  }
  EXPECT_EQ(colors.size(), 39u);
}

TEST(NearestSampler, TakesTheMiddleOfEachAreaHoweverTheSourceComes) {
  constexpr SSize kSource{10, 7}, kResult{3, 2};
  std::vector<std::uint16_t> source(kSource.width * kSource.height);
  for (std::size_t i = 0; i < source.size(); ++i) source[i] = static_cast<std::uint16_t>(1000 + i);
  for (const std::uint32_t step : {1u, 3u, 4u, 10u}) {
    CRenderGuard guard;
    CNearestSampler sampler(kSource, kResult, ESampleType::kU16, guard);
    for (std::uint32_t y = 0; y < kSource.height; y += step) {
      for (std::uint32_t x = 0; x < kSource.width; x += step) {
        sampler.AddBand(x, y, std::min(step, kSource.width - x), std::min(step, kSource.height - y),
                        source.data() + y * kSource.width + x, kSource.width * 2, 2);
      }
    }
    // Columns 1, 5, 8 and rows 1, 5.
    EXPECT_EQ(sampler.Finish().samples, (std::vector<float>{1011, 1015, 1018, 1051, 1055, 1058})) << step;
  }
}

}  // namespace
}  // namespace imageformats
