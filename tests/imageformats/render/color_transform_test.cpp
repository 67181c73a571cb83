#include "platform/imageformats/render/color_transform.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/support/encode_jpeg.h"
#include "tests/support/file_bytes.h"
#include "tests/support/icc_profile.h"

namespace imageformats {
namespace {

using namespace qvtest;

std::vector<std::uint8_t> Converted(CColorTransform& transform, const std::vector<float>& pixels, std::size_t count) {
  std::vector<std::uint8_t> rgb(count * 3);
  transform.Convert(pixels.data(), count, rgb.data());
  return rgb;
}

TEST(ColorTransform, WithoutAProfileGreyAndRgbAreAsStored) {
  CColorTransform grey(EColorModel::kGrey, {}), rgb(EColorModel::kRgb, {});
  EXPECT_TRUE(grey.IsIdentity());
  EXPECT_TRUE(rgb.IsIdentity());
  EXPECT_EQ(Converted(grey, {0.0f, 0.5f, 2.0f}, 3), (std::vector<std::uint8_t>{0, 0, 0, 128, 128, 128, 255, 255, 255}));
  EXPECT_EQ(Converted(rgb, {0.2f, -1.0f, std::numeric_limits<float>::quiet_NaN()}, 1),
            (std::vector<std::uint8_t>{51, 0, 0}));
}

TEST(ColorTransform, AnSrgbProfileLeavesColoursAlone) {
  const SFileBytes profile = SrgbProfile();
  EXPECT_TRUE(CColorTransform(EColorModel::kRgb, profile).IsIdentity());
}

TEST(ColorTransform, AProfileIsFollowed) {
  const SFileBytes profile = SwappedPrimariesProfile();
  CColorTransform transform(EColorModel::kRgb, profile);
  EXPECT_FALSE(transform.IsIdentity());
  const auto rgb = Converted(transform, {1.0f, 0.0f, 0.0f, 0.5f, 0.5f, 0.5f}, 2);
  EXPECT_LT(rgb[0], 40);  // its red is our green
  EXPECT_GT(rgb[1], 220);
  EXPECT_NEAR(rgb[3], rgb[4], 2);  // grey stays grey
}

TEST(ColorTransform, UnusableProfilesAreIgnored) {
  SFileBytes damaged = SwappedPrimariesProfile();
  damaged.resize(damaged.size() / 3);
  EXPECT_TRUE(CColorTransform(EColorModel::kRgb, damaged).IsIdentity());
  EXPECT_TRUE(CColorTransform(EColorModel::kRgb, BytesOf("no profile at all")).IsIdentity());
  const SFileBytes rgb = SwappedPrimariesProfile();
  EXPECT_TRUE(CColorTransform(EColorModel::kGrey, rgb).IsIdentity());
}

TEST(ColorTransform, InksSwallowLight) {
  CColorTransform transform(EColorModel::kCmyk, {});
  EXPECT_FALSE(transform.IsIdentity());
  const auto rgb = Converted(transform, {0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0, 1}, 4);
  EXPECT_EQ(rgb, (std::vector<std::uint8_t>{255, 255, 255, 0, 255, 255, 255, 0, 0, 0, 0, 0}));
}

TEST(ColorTransform, LabIsUnderstood) {
  CColorTransform transform(EColorModel::kLab, {});
  // CIELAB (D50) of white, black, middle grey and sRGB's red.
  const auto rgb = Converted(transform, {100, 0, 0, 0, 0, 0, 53.585f, 0, 0, 54.29f, 80.81f, 69.89f}, 4);
  EXPECT_NEAR(rgb[0], 255, 1);
  EXPECT_NEAR(rgb[2], 255, 1);
  EXPECT_NEAR(rgb[4], 0, 1);
  EXPECT_NEAR(rgb[6], 128, 2);
  EXPECT_NEAR(rgb[8], 128, 2);
  EXPECT_GT(rgb[9], 250);
  EXPECT_LT(rgb[10], 12);
  EXPECT_LT(rgb[11], 12);
}

}  // namespace
}  // namespace imageformats
