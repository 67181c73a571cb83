#include "platform/imageformats/render/orientation.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace imageformats {
namespace {

// "abc/def" stored, and what each orientation shows.
const char* const kShown[] = {"abc/def",  "cba/fed",  "fed/cba",  "def/abc",
                              "ad/be/cf", "da/eb/fc", "fc/eb/da", "cf/be/ad"};

std::string Shown(EOrientation o, std::size_t pixelBytes) {
  const SSize stored{3, 2}, shown = DisplayedSize(stored, o);
  const std::size_t stride = shown.width * pixelBytes + 5;
  std::vector<char> displayed(stride * shown.height, '?');
  const COrientedPlacement placement(stored, o, pixelBytes, displayed.data(), stride);
  for (std::uint32_t y = 0; y < 2; ++y) {
    std::string row;
    for (std::size_t x = 0; x < 3; ++x) row += std::string(pixelBytes, static_cast<char>('a' + 3 * y + x));
    placement.PlaceRow(y, row.data());
  }
  std::string text;
  for (std::uint32_t y = 0; y < shown.height; ++y) {
    if (y != 0) text += '/';
    for (std::uint32_t x = 0; x < shown.width; ++x) {
      for (std::size_t b = 0; b < pixelBytes; ++b) {
        EXPECT_EQ(displayed[y * stride + x * pixelBytes + b], displayed[y * stride + x * pixelBytes]);
      }
      text += displayed[y * stride + x * pixelBytes];
    }
    EXPECT_EQ(displayed[y * stride + shown.width * pixelBytes], '?') << "beyond the row's end";
  }
  return text;
}

TEST(OrientedPlacement, PlacesAllEight) {
  for (std::uint32_t tag = 1; tag <= 8; ++tag) {
    for (const std::size_t pixelBytes : {1, 2, 3, 4, 5, 6, 8}) {
      EXPECT_EQ(Shown(OrientationFromTag(tag), pixelBytes), kShown[tag - 1]) << "orientation " << tag;
    }
  }
}

TEST(OrientedPlacement, OffersRowsThatKeepTheirOrder) {
  char displayed[6];
  const SSize size{3, 2};
  EXPECT_EQ(COrientedPlacement(size, EOrientation::kTopLeft, 1, displayed, 3).DirectRow(1), displayed + 3);
  EXPECT_EQ(COrientedPlacement(size, EOrientation::kBottomLeft, 1, displayed, 3).DirectRow(1), displayed);
  EXPECT_EQ(COrientedPlacement(size, EOrientation::kTopRight, 1, displayed, 3).DirectRow(1), nullptr);
}

TEST(Orientation, TagsOutOfRangeMeanUpright) {
  EXPECT_EQ(OrientationFromTag(0), EOrientation::kTopLeft);
  EXPECT_EQ(OrientationFromTag(9), EOrientation::kTopLeft);
}

}  // namespace
}  // namespace imageformats
