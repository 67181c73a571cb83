#include "platform/imageformats/render/display.h"

#include <gtest/gtest.h>

#include <cmath>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/new_picture.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/file_bytes.h"
#include "tests/support/icc_profile.h"

namespace imageformats {
namespace {

using namespace qvtest;

std::vector<int> Shown(const SAveragedPicture& averages, const SDisplaySettings& how, SSize size) {
  CQvPicture picture = NewPicture(size.width, size.height, 8, 3);
  DisplayAverages(averages, how, *picture.Get());
  std::vector<int> samples;
  for (std::uint32_t y = 0; y < size.height; ++y)
    for (std::uint32_t i = 0; i < size.width * 3; ++i) samples.push_back(picture.Row(y)[i]);
  return samples;
}

TEST(DisplayAverages, RgbAsStored) {
  EXPECT_EQ(Shown({{2, 1}, 3, {0.4f, 100.5f, 255, 300, -4, NAN}}, {}, {2, 1}),
            (std::vector<int>{0, 101, 255, 255, 0, 0}));
}

TEST(DisplayAverages, GreyIsSpreadAndMayBeInverted) {
  SDisplaySettings how;
  how.model = EColorModel::kGrey;
  how.inverted = true;
  EXPECT_EQ(Shown({{2, 1}, 1, {0, 200}}, how, {2, 1}), (std::vector<int>{255, 255, 255, 55, 55, 55}));
}

TEST(DisplayAverages, FurtherComponentsAreIgnored) {
  SDisplaySettings how;
  how.model = EColorModel::kGrey;
  EXPECT_EQ(Shown({{1, 1}, 2, {9, 200}}, how, {1, 1}), (std::vector<int>{9, 9, 9}));
  how.model = EColorModel::kRgb;
  EXPECT_THROW(Shown({{1, 1}, 2, {9, 200}}, how, {1, 1}), CDamagedError);
}

TEST(DisplayAverages, StretchesTwelveBitsInSixteen) {
  SDisplaySettings how;
  how.model = EColorModel::kGrey;
  how.nominal = NominalRange(16);
  how.stretch = true;
  const auto shown = Shown({{3, 1}, 1, {100, 2100, 4100}}, how, {3, 1});
  EXPECT_EQ(shown[0], 0);
  EXPECT_EQ(shown[3], 128);
  EXPECT_EQ(shown[6], 255);
}

TEST(DisplayAverages, InvertedInksAreAdobes) {
  SDisplaySettings how;
  how.model = EColorModel::kCmyk;
  how.inverted = true;
  EXPECT_EQ(Shown({{2, 1}, 4, {255, 255, 255, 255, 0, 255, 255, 255}}, how, {2, 1}),
            (std::vector<int>{255, 255, 255, 0, 255, 255}));
}

TEST(DisplayAverages, FollowsTheProfileAndTheOrientation) {
  const SFileBytes profile = SwappedPrimariesProfile();
  SDisplaySettings how;
  how.profile = profile;
  how.orientation = EOrientation::kRightTop;
  const auto shown = Shown({{2, 1}, 3, {255, 0, 0, 0, 0, 0}}, how, {1, 2});
  EXPECT_GT(shown[1], 220);
  EXPECT_EQ(shown[3], 0);
}

TEST(DisplayAverages, EnlargesSmoothly) {
  SDisplaySettings how;
  how.model = EColorModel::kGrey;
  const auto shown = Shown({{2, 1}, 1, {0, 200}}, how, {8, 2});
  for (std::size_t x = 1; x < 8; ++x) EXPECT_GE(shown[3 * x], shown[3 * x - 3]);
  EXPECT_EQ(shown.front(), 0);
  EXPECT_EQ(shown[21], 200);
  EXPECT_GT(shown[12], 60);
  EXPECT_LT(shown[12], 140);
}

}  // namespace
}  // namespace imageformats
