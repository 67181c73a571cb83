#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "picture/qvpicbuf.h"
#include "system/qvstatus.h"
#include "tests/picture/test_picbuf.h"

namespace {

using testing::ElementsAre;
using CGeomTrans = CQvPicBufAPI_GeomTrans;

// Stretches one row (or, `upright`, one column) of grey values to another length.
std::vector<std::uint32_t> StretchLine(const std::vector<std::uint32_t>& values, std::uint32_t length,
                                       std::int32_t mode, std::uint32_t bpc, bool upright = false) {
  const auto count = static_cast<std::uint32_t>(values.size());
  CTestPicBuf source(upright ? 1 : count, upright ? count : 1, bpc, 1);
  source.Fill([&](auto x, auto y, auto) { return values[x + y]; });
  CTestPicBuf destination(upright ? 1 : length, upright ? length : 1, bpc, 1);
  EXPECT_EQ(CGeomTrans::Stretch(destination.Record(), source.Record(), mode), 0);
  std::vector<std::uint32_t> result;
  for (std::uint32_t i = 0; i < length; ++i) result.push_back(destination.Get(upright ? 0 : i, upright ? i : 0));
  return result;
}

class StretchLineTest : public testing::TestWithParam<std::tuple<std::uint32_t, bool>> {
 protected:
  std::vector<std::uint32_t> Line(const std::vector<std::uint32_t>& values, std::uint32_t length, std::int32_t mode) {
    return StretchLine(values, length, mode, std::get<0>(GetParam()), std::get<1>(GetParam()));
  }
};

TEST_P(StretchLineTest, AreaAverageWithWholeRatio) {
  EXPECT_THAT(Line({10, 20, 30, 41}, 2, CGeomTrans::kStretchArea), ElementsAre(15, 36));
  EXPECT_THAT(Line({1, 2, 4, 8, 16, 32, 64, 128}, 1, CGeomTrans::kStretchArea), ElementsAre(32));
}

// Three samples into two: the middle one belongs half to each. (2 * 30 + 60) / 3 and (60 + 2 * 120) / 3.
TEST_P(StretchLineTest, AreaAverageSharesTheSampleOnTheBorder) {
  EXPECT_THAT(Line({30, 60, 120}, 2, CGeomTrans::kStretchArea), ElementsAre(40, 100));
}

// Five into two, in units of half a sample: 2,2,1 | 1,2,2.
TEST_P(StretchLineTest, AreaAverageFiveIntoTwo) {
  EXPECT_THAT(Line({10, 20, 50, 100, 200}, 2, CGeomTrans::kStretchArea), ElementsAre(22, 130));
}

// Seven into three, in units of a third: 3,3,1 | 2,3,2 | 1,3,3.
TEST_P(StretchLineTest, AreaAverageSevenIntoThree) {
  EXPECT_THAT(Line({0, 70, 140, 210, 140, 70, 0}, 3, CGeomTrans::kStretchArea), ElementsAre(50, 170, 50));
}

TEST_P(StretchLineTest, AreaAverageRoundsHalvesUp) {
  EXPECT_THAT(Line({0, 1, 1, 2}, 2, CGeomTrans::kStretchArea), ElementsAre(1, 2));
}

// Destination centres of two into four lie at -1/4, 1/4, 3/4 and 5/4 between the source centres 0 and 1.
TEST_P(StretchLineTest, EnlargesBilinearlyWithCentresAligned) {
  for (const std::int32_t mode : {CGeomTrans::kStretchArea, CGeomTrans::kStretchBilinear}) {
    EXPECT_THAT(Line({0, 100}, 4, mode), ElementsAre(0, 25, 75, 100));
    EXPECT_THAT(Line({100, 40}, 3, mode), ElementsAre(100, 70, 40));
    EXPECT_THAT(Line({77}, 3, mode), ElementsAre(77, 77, 77));
  }
}

TEST_P(StretchLineTest, BilinearShrinksBySamplingBetweenTheTwoNearest) {
  EXPECT_THAT(Line({0, 10, 100, 200, 240, 250}, 2, CGeomTrans::kStretchBilinear), ElementsAre(10, 240));
  EXPECT_THAT(Line({0, 10, 100, 200}, 2, CGeomTrans::kStretchBilinear), ElementsAre(5, 150));
}

TEST_P(StretchLineTest, NearestTakesTheSampleUnderTheCentre) {
  EXPECT_THAT(Line({1, 2, 3, 4, 5, 6}, 2, CGeomTrans::kStretchNearest), ElementsAre(2, 5));
  EXPECT_THAT(Line({1, 2}, 5, CGeomTrans::kStretchNearest), ElementsAre(1, 1, 2, 2, 2));
}

TEST_P(StretchLineTest, SameLengthKeepsEverySample) {
  for (const std::int32_t mode :
       {CGeomTrans::kStretchNearest, CGeomTrans::kStretchBilinear, CGeomTrans::kStretchArea}) {
    EXPECT_THAT(Line({3, 1, 4, 1, 5, 9}, 6, mode), ElementsAre(3, 1, 4, 1, 5, 9));
  }
}

INSTANTIATE_TEST_SUITE_P(All, StretchLineTest, testing::Combine(testing::Values(8u, 16u), testing::Bool()));

// 3 x 2 into 2 x 1: columns share the middle one, rows average. Left: (2 * (0 + 30) + (60 + 90)) / 6.
TEST(Stretch, AreaAverageInBothDirections) {
  CTestPicBuf source(3, 2, 8, 1);
  const std::uint32_t values[2][3] = {{0, 60, 120}, {30, 90, 240}};
  source.Fill([&](auto x, auto y, auto) { return values[y][x]; });
  CTestPicBuf destination(2, 1, 8, 1);
  ASSERT_EQ(CGeomTrans::Stretch(destination.Record(), source.Record(), CGeomTrans::kStretchArea), 0);
  EXPECT_EQ(destination.Get(0, 0), 35u);
  EXPECT_EQ(destination.Get(1, 0), 145u);
}

TEST(Stretch, ComponentsStayApart) {
  for (const std::uint32_t components : {1u, 2u, 3u, 4u, 5u, 17u, 4096u}) {
    CTestPicBuf source(5, 3, 16, components);
    source.Fill([](auto, auto, auto c) { return c * 13 + 1; });
    CTestPicBuf destination(2, 7, 16, components);
    ASSERT_EQ(CGeomTrans::Stretch(destination.Record(), source.Record(), CGeomTrans::kStretchArea), 0);
    for (std::uint32_t c = 0; c < components; ++c) ASSERT_EQ(destination.Get(1, 5, c), c * 13 + 1);
  }
}

TEST(Stretch, ConstantPicturesStayConstant) {
  CRandom random(7);
  for (int i = 0; i < 200; ++i) {
    const std::uint32_t bpc = random() % 2 ? 8 : 16;
    const std::uint32_t value = random() & (bpc == 8 ? 0xFFu : 0xFFFFu);
    CTestPicBuf source(random() % 90 + 1, random() % 90 + 1, bpc, random() % 5 + 1);
    source.Fill([&](auto, auto, auto) { return value; });
    CTestPicBuf destination(random() % 90 + 1, random() % 90 + 1, bpc, source->components);
    for (const std::int32_t mode :
         {CGeomTrans::kStretchNearest, CGeomTrans::kStretchBilinear, CGeomTrans::kStretchArea}) {
      ASSERT_EQ(CGeomTrans::Stretch(destination.Record(), source.Record(), mode), 0);
      destination.Fill([&](auto x, auto y, auto c) {
        EXPECT_EQ(destination.Get(x, y, c), value);
        return 0u;
      });
    }
  }
}

// Where a destination sample lies between two of the source's: the first, and its and its neighbour's weight.
struct SBetween {
  std::uint64_t begin, first, last;
  SBetween(std::uint64_t place, std::uint64_t source, std::uint64_t destination) {
    const std::uint64_t unit = 2 * destination, centre = (2 * place + 1) * source;
    const std::uint64_t position = centre > destination ? centre - destination : 0;
    begin = position / unit;
    last = begin + 1 < source ? position % unit : 0;
    first = unit - last;
  }
};

// In whole numbers, so that nothing is rounded before the end; many lie on a half.
std::uint64_t EnlargedByDefinition(CTestPicBuf& source, CTestPicBuf& destination, std::uint32_t x, std::uint32_t y,
                                   std::uint32_t c) {
  const SBetween across(x, source->width, destination->width), down(y, source->height, destination->height);
  std::uint64_t sum = 0;
  for (const auto& [row, rowWeight] : {std::pair{down.begin, down.first}, {down.begin + 1, down.last}}) {
    for (const auto& [column, weight] : {std::pair{across.begin, across.first}, {across.begin + 1, across.last}}) {
      if (rowWeight == 0 || weight == 0) continue;
      sum += rowWeight * weight * source.Get(static_cast<std::uint32_t>(column), static_cast<std::uint32_t>(row), c);
    }
  }
  const std::uint64_t total = 4ull * destination->width * destination->height;
  return (2 * sum + total) / (2 * total);
}

TEST(Stretch, EnlargedSamplesAreTheNearestToTheirExactValues) {
  CRandom random(5);
  for (int i = 0; i < 60; ++i) {
    const std::uint32_t bpc = i % 2 == 0 ? 8 : 16, components = random() % 4 + 1;
    CTestPicBuf source(random() % 40 + 1, random() % 40 + 1, bpc, components);
    source.FillRandom(random);
    CTestPicBuf destination(source->width * (random() % 3 + 1) + random() % 9, source->height + 1 + random() % 90, bpc,
                            components);
    ASSERT_EQ(CGeomTrans::Stretch(destination.Record(), source.Record(), CGeomTrans::kStretchBilinear), 0);
    for (std::uint32_t y = 0; y < destination->height; ++y) {
      for (std::uint32_t x = 0; x < destination->width; ++x) {
        const std::uint32_t c = (x + y) % components;
        ASSERT_EQ(destination.Get(x, y, c), EnlargedByDefinition(source, destination, x, y, c));
      }
    }
  }
}

TEST(Stretch, WhitestPicturesDoNotOverflow) {
  for (const std::uint32_t bpc : {8u, 16u}) {
    const std::uint32_t white = bpc == 8 ? 0xFF : 0xFFFF;
    CTestPicBuf tall(2, 131071, bpc, 1);
    tall.Fill([&](auto, auto, auto) { return white; });
    CTestPicBuf one(1, 1, bpc, 1);
    ASSERT_EQ(CGeomTrans::Stretch(one.Record(), tall.Record(), CGeomTrans::kStretchArea), 0);
    EXPECT_EQ(one.Get(0, 0), white);
    CTestPicBuf small(3, 1000, bpc, 1);
    ASSERT_EQ(CGeomTrans::Stretch(small.Record(), tall.Record(), CGeomTrans::kStretchArea), 0);
    EXPECT_EQ(small.Get(2, 999), white);
  }
}

TEST(Stretch, ShrinkingKeepsTheMean) {
  CRandom random(11);
  CTestPicBuf source(401, 307, 16, 1);
  source.FillRandom(random);
  CTestPicBuf destination(53, 41, 16, 1);
  ASSERT_EQ(CGeomTrans::Stretch(destination.Record(), source.Record(), CGeomTrans::kStretchArea), 0);
  const auto mean = [](CTestPicBuf& picture) {
    double sum = 0;
    for (std::uint32_t y = 0; y < picture->height; ++y) {
      for (std::uint32_t x = 0; x < picture->width; ++x) sum += picture.Get(x, y);
    }
    return sum / picture->width / picture->height;
  };
  EXPECT_NEAR(mean(destination), mean(source), 0.1);
}

// Any phase of a sampled checkerboard would show black, white or beats; its average is an even grey.
TEST(Stretch, CheckerboardOfSinglePixelsBecomesEvenGrey) {
  CTestPicBuf source(1000, 700, 8, 3);
  source.Fill([](auto x, auto y, auto) { return (x + y) % 2 ? 255u : 0u; });
  for (const std::uint32_t width : {1u, 7u, 99u, 250u, 333u, 480u}) {
    CTestPicBuf destination(width, width * 7 / 10 + 1, 8, 3);
    ASSERT_EQ(CGeomTrans::Stretch(destination.Record(), source.Record(), CGeomTrans::kStretchArea), 0);
    std::uint32_t low = 255, high = 0;
    destination.Fill([&](auto x, auto y, auto c) {
      low = std::min(low, destination.Get(x, y, c));
      high = std::max(high, destination.Get(x, y, c));
      return 0u;
    });
    EXPECT_GE(low, 96u) << width;
    EXPECT_LE(high, 160u) << width;
  }
}

TEST(Stretch, PaddingAndForeignRowLengths) {
  CTestPicBuf source(3, 2, 16, 1, 9);  // odd: 16-bit rows at odd addresses
  source.Fill([](auto x, auto y, auto) { return 1000 * (x + 3 * y); });
  CTestPicBuf destination(3, 2, 16, 1, 11);
  std::memset(destination->data, 0xEE, destination->dataSize);
  ASSERT_EQ(CGeomTrans::Stretch(destination.Record(), source.Record(), CGeomTrans::kStretchArea), 0);
  EXPECT_EQ(destination.Get(2, 1), 5000u);
  const auto* bytes = static_cast<const std::uint8_t*>(destination->data);
  for (const int padding : {6, 10, 17, 21}) EXPECT_EQ(bytes[padding], 0xEE);
}

TEST(Stretch, RefusalsLeaveTheDestinationUnchanged) {
  CTestPicBuf source(4, 4, 8, 3);
  CTestPicBuf destination(2, 2, 8, 3);
  destination.Fill([](auto, auto, auto) { return 123u; });
  CTestPicBuf empty, otherBits(4, 4, 16, 3), otherComponents(4, 4, 8, 1);
  SQvPicBuf tooShort = *source;
  tooShort.dataSize -= 1;
  SQvPicBuf zero = *source;
  zero.width = 0;
  SQvPicBuf oddBits = *source;
  oddBits.bpc = 32;
  for (const SQvPicBuf* bad : {empty.Record(), otherBits.Record(), otherComponents.Record(), destination.Record()}) {
    EXPECT_EQ(CGeomTrans::Stretch(destination.Record(), bad, CGeomTrans::kStretchArea), kQvFailure);
  }
  for (const SQvPicBuf* bad : {&tooShort, &zero, &oddBits}) {
    EXPECT_EQ(CGeomTrans::Stretch(destination.Record(), bad, CGeomTrans::kStretchArea), kQvFailure);
  }
  for (const std::int32_t mode : {-1, 2, 4, 1000})
    EXPECT_EQ(CGeomTrans::Stretch(destination.Record(), source.Record(), mode), kQvFailure);
  EXPECT_EQ(CGeomTrans::Stretch(nullptr, source.Record(), CGeomTrans::kStretchArea), kQvFailure);
  EXPECT_EQ(CGeomTrans::Stretch(destination.Record(), nullptr, CGeomTrans::kStretchArea), kQvFailure);
  EXPECT_EQ(CGeomTrans::Stretch(empty.Record(), source.Record(), CGeomTrans::kStretchArea), kQvFailure);
  destination.Fill([&](auto x, auto y, auto c) {
    EXPECT_EQ(destination.Get(x, y, c), 123u);
    return 123u;
  });
}

TEST(Stretch, LongThinShapes) {
  CTestPicBuf line(200000, 1, 8, 1);
  line.Fill([](auto x, auto, auto) { return x % 256; });
  CTestPicBuf column(1, 200000, 8, 1);
  ASSERT_EQ(CGeomTrans::Stretch(column.Record(), line.Record(), CGeomTrans::kStretchArea), 0);
  EXPECT_EQ(column.Get(0, 0), column.Get(0, 199999));
  CTestPicBuf point(1, 1, 8, 1);
  ASSERT_EQ(CGeomTrans::Stretch(point.Record(), column.Record(), CGeomTrans::kStretchArea), 0);
  EXPECT_EQ(point.Get(0, 0), column.Get(0, 7));
}

}  // namespace
