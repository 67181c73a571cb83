#include "platform/imageformats/render/alpha.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace imageformats {
namespace {

TEST(BlendOverWhite, FollowsTheDefinition) {
  for (int opacity = 0; opacity <= 255; ++opacity) {
    for (int color = 0; color <= 255; color += 5) {
      const std::uint8_t pixel[] = {static_cast<std::uint8_t>(color), static_cast<std::uint8_t>(opacity)};
      std::uint8_t out = 0;
      BlendOverWhite(pixel, 1, 1, false, &out);
      EXPECT_EQ(out, std::lround(color * opacity / 255.0 + 255.0 - opacity)) << color << " " << opacity;
    }
  }
}

TEST(BlendOverWhite, WorksInPlaceAndPacks) {
  std::vector<std::uint8_t> row = {10, 20, 30, 255, 40, 50, 60, 0, 70, 80, 90, 255};
  BlendOverWhite(row.data(), 3, 3, false, row.data());
  row.resize(9);
  EXPECT_EQ(row, (std::vector<std::uint8_t>{10, 20, 30, 255, 255, 255, 70, 80, 90}));
}

TEST(BlendOverWhite, WideSamplesHaveTheirOwnWhite) {
  const std::uint16_t row[] = {65535, 65535, 65535, 0, 0, 0, 0, 65535, 1000, 2000, 3000, 32768};
  std::uint16_t out[9];
  BlendOverWhite(row, 3, 3, false, 65535, out);
  EXPECT_EQ(out[0], 65535);
  EXPECT_EQ(out[3], 0);
  EXPECT_NEAR(out[6], 1000 * 0.5 + 65535 * 0.5, 2);
  const std::uint16_t twelve[] = {4095, 0, 0, 4095};
  BlendOverWhite(twelve, 2, 1, false, 4095, out);
  EXPECT_EQ(out[0], 4095);
  EXPECT_EQ(out[1], 0);
}

TEST(BlendOverWhite, PremultipliedColoursAreNotMultipliedAgain) {
  const std::uint8_t row[] = {100, 128, 255, 128};
  std::uint8_t out[2];
  BlendOverWhite(row, 2, 1, true, out);
  EXPECT_EQ(out[0], 227);
  EXPECT_EQ(out[1], 255);  // more colour than opacity: no overflow
}

}  // namespace
}  // namespace imageformats
