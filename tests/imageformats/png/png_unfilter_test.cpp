#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <vector>

#include "platform/imageformats/png/png_unfilter.h"

namespace imageformats {
namespace {

constexpr std::size_t kPixelSizes[] = {1, 2, 3, 4, 6, 8};

// Rows behind one of zeros, each behind its filter's byte.
struct SFilteredRows {
  std::size_t pixelBytes, bytes, stride = bytes + 1;
  std::uint32_t count = 0;
  std::vector<std::uint8_t> data = std::vector<std::uint8_t>(stride);

  void Append(std::uint8_t filter, std::mt19937& random) {
    data.push_back(filter);
    for (std::size_t i = 0; i < bytes; ++i) data.push_back(static_cast<std::uint8_t>(random()));
    ++count;
  }
  std::uint8_t* First() { return data.data() + stride + 1; }
};

std::uint8_t ReferencePredictor(std::uint8_t filter, int a, int b, int c) {
  switch (filter) {
    case kPngSub:
      return static_cast<std::uint8_t>(a);
    case kPngUp:
      return static_cast<std::uint8_t>(b);
    case kPngAverage:
      return static_cast<std::uint8_t>((a + b) / 2);
    case kPngPaeth: {
      const int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
      return static_cast<std::uint8_t>(pa <= pb && pa <= pc ? a : pb <= pc ? b : c);
    }
    default:
      return 0;
  }
}

// Byte by byte, as the standard has it.
std::vector<std::uint8_t> ReferenceUnfiltered(SFilteredRows rows) {
  for (std::uint32_t y = 0; y < rows.count; ++y) {
    std::uint8_t* row = rows.First() + y * rows.stride;
    const std::uint8_t* above = row - rows.stride;
    for (std::size_t i = 0; i < rows.bytes; ++i) {
      const bool isFirst = i < rows.pixelBytes;
      const int left = isFirst ? 0 : row[i - rows.pixelBytes], upLeft = isFirst ? 0 : above[i - rows.pixelBytes];
      row[i] = static_cast<std::uint8_t>(row[i] + ReferencePredictor(row[-1], left, above[i], upLeft));
    }
  }
  return rows.data;
}

std::vector<std::uint8_t> Unfiltered(SFilteredRows rows, std::uint32_t atOnce) {
  for (std::uint32_t y = 0; y < rows.count; y += atOnce) {
    const std::uint32_t count = std::min(atOnce, rows.count - y);
    EXPECT_TRUE(UnfilterPngRows(rows.First() + y * rows.stride, rows.stride, count, rows.bytes, rows.pixelBytes));
  }
  return rows.data;
}

TEST(PngUnfilter, EveryFourFiltersInARowAreUndoneAsTheStandardSays) {
  std::mt19937 random(1);
  for (const std::size_t pixelBytes : kPixelSizes) {
    SFilteredRows rows{pixelBytes, 7 * pixelBytes};
    for (unsigned mix = 0; mix < 5 * 5 * 5 * 5; ++mix) {
      for (unsigned row = 0, rest = mix; row < 4; ++row, rest /= 5) {
        rows.Append(static_cast<std::uint8_t>(rest % 5), random);
      }
    }
    EXPECT_EQ(Unfiltered(rows, 4), ReferenceUnfiltered(rows)) << pixelBytes;
  }
}

TEST(PngUnfilter, EveryWidthAndNumberOfRowsIsUndoneAsTheStandardSays) {
  std::mt19937 random(2);
  for (const std::size_t pixelBytes : kPixelSizes) {
    for (const std::size_t width : {1u, 2u, 3u, 4u, 5u, 7u, 15u, 16u, 17u, 33u}) {
      SFilteredRows rows{pixelBytes, width * pixelBytes};
      for (const unsigned filters : {44444444u, 33333333u, 34344343u, 41230444u}) {
        for (unsigned rest = filters; rest != 0; rest /= 10) rows.Append(static_cast<std::uint8_t>(rest % 10), random);
      }
      const std::vector<std::uint8_t> expected = ReferenceUnfiltered(rows);
      for (const std::uint32_t atOnce : {1u, 2u, 3u, 4u, 5u, 7u, 16u, 32u}) {
        EXPECT_EQ(Unfiltered(rows, atOnce), expected) << pixelBytes << " " << width << " " << atOnce;
      }
    }
  }
}

TEST(PngUnfilter, AnUnknownFilterIsToldOfWhereverItStands) {
  std::mt19937 random(3);
  for (const std::size_t pixelBytes : kPixelSizes) {
    for (std::uint32_t bad = 0; bad < 9; ++bad) {
      SFilteredRows rows{pixelBytes, 5 * pixelBytes};
      for (std::uint32_t y = 0; y < 9; ++y) rows.Append(y == bad ? 5 : kPngPaeth, random);
      EXPECT_FALSE(UnfilterPngRows(rows.First(), rows.stride, rows.count, rows.bytes, pixelBytes)) << bad;
    }
  }
}

}  // namespace
}  // namespace imageformats
