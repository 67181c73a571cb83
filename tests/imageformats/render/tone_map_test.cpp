#include "platform/imageformats/render/tone_map.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <random>

namespace imageformats {
namespace {

constexpr SDisplayRange kNominal{0, 65535};

TEST(PercentileRange, LeavesOutAThousandthAtEachEnd) {
  std::vector<float> samples(10001);
  std::iota(samples.begin(), samples.end(), 0.0f);
  std::shuffle(samples.begin(), samples.end(), std::mt19937(1));
  const SDisplayRange range = PercentileRange(samples, 0, 1, kNominal);
  EXPECT_EQ(range.low, 10.0);
  EXPECT_EQ(range.high, 9990.0);
}

TEST(PercentileRange, TakesOneComponent) {
  std::vector<float> samples;
  for (int i = 0; i <= 1000; ++i)
    samples.insert(samples.end(), {static_cast<float>(i), -5.0f, 2.0f * static_cast<float>(i)});
  EXPECT_EQ(PercentileRange(samples, 2, 3, kNominal).high, 1998.0);
  EXPECT_EQ(PercentileRange(samples, 0, 3, kNominal).high, 999.0);
}

TEST(PercentileRange, IgnoresWhatIsNotFinite) {
  std::vector<float> samples(100, std::numeric_limits<float>::infinity());
  samples.insert(samples.end(), 100, std::numeric_limits<float>::quiet_NaN());
  samples.insert(samples.end(), {1.0f, 2.0f, 3.0f});
  const SDisplayRange range = PercentileRange(samples, 0, 1, kNominal);
  EXPECT_EQ(range.low, 1.0);
  EXPECT_EQ(range.high, 3.0);
}

TEST(PercentileRange, OnePictureOfOneValueIsShownOnTheNominalRange) {
  EXPECT_EQ(PercentileRange(std::vector<float>(50, 700.0f), 0, 1, kNominal).high, 65535.0);
  EXPECT_EQ(PercentileRange(std::vector<float>(50, -3.0f), 0, 1, SDisplayRange{0, 1}).low, -3.0);
  EXPECT_EQ(PercentileRange(std::vector<float>(50, NAN), 0, 1, kNominal).high, 65535.0);
  EXPECT_EQ(PercentileRange(std::vector<float>(), 0, 1, kNominal).high, 65535.0);
}

TEST(PercentileRange, AFewBrightSpotsAreSeen) {
  std::vector<float> samples(100000, 100.0f);
  samples[500] = 900.0f;
  const SDisplayRange range = PercentileRange(samples, 0, 1, kNominal);
  EXPECT_EQ(range.low, 100.0);
  EXPECT_EQ(range.high, 900.0);
}

TEST(PercentileRange, OneRangeForAllColours) {
  const SAveragedPicture picture{{2, 1}, 3, {5, 10, 20, 6, 30, 25}};
  const SDisplayRange range = PercentileRange(picture, 3, kNominal);
  EXPECT_EQ(range.low, 5.0);
  EXPECT_EQ(range.high, 30.0);
}

TEST(ToneMapped, ClampsAndRounds) {
  const SDisplayRange range{100, 200};
  EXPECT_EQ(ToneMapped(50, range), 0);
  EXPECT_EQ(ToneMapped(150, range), 128);
  EXPECT_EQ(ToneMapped(1e30f, range), 255);
  EXPECT_EQ(ToneMapped(NAN, range), 0);
}

TEST(NominalRange, CountsBits) {
  EXPECT_EQ(NominalRange(8).high, 255.0);
  EXPECT_EQ(NominalRange(12).high, 4095.0);
  EXPECT_EQ(NominalRange(1).high, 1.0);
}

}  // namespace
}  // namespace imageformats
