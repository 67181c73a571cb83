#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "picture/qvpicbuf.h"
#include "tests/picture/test_picbuf.h"

// Random pictures against a slow double-precision stretch that is written the other way round: it asks for every pair
// of a destination and a source sample what the one weighs in the other.

namespace {

using CWeights = std::vector<std::vector<double>>;

double AreaWeight(double source, double ratio, double destination) {
  const double low = std::max(source, destination * ratio);
  const double high = std::min(source + 1, (destination + 1) * ratio);
  return std::max(0.0, high - low) / ratio;
}

double BilinearWeight(double source, double sourceLength, double ratio, double destination) {
  const double position = std::clamp((destination + 0.5) * ratio - 0.5, 0.0, sourceLength - 1);
  return std::max(0.0, 1 - std::abs(position - source));
}

CWeights MakeWeights(std::uint32_t source, std::uint32_t destination, std::int32_t mode) {
  const double ratio = double(source) / destination;
  const bool area = mode == CQvPicBufAPI_GeomTrans::kStretchArea && ratio >= 1;
  CWeights weights(destination, std::vector<double>(source));
  for (std::uint32_t d = 0; d < destination; ++d) {
    for (std::uint32_t s = 0; s < source; ++s) {
      weights[d][s] = area ? AreaWeight(s, ratio, d) : BilinearWeight(s, source, ratio, d);
    }
  }
  return weights;
}

double Expected(const CTestPicBuf& source, const std::vector<double>& across, const std::vector<double>& down,
                std::uint32_t c) {
  double sum = 0;
  for (std::uint32_t y = 0; y < down.size(); ++y) {
    if (down[y] == 0) continue;
    for (std::uint32_t x = 0; x < across.size(); ++x) sum += down[y] * across[x] * source.Get(x, y, c);
  }
  return sum;
}

void Compare(const CTestPicBuf& source, const CTestPicBuf& destination, std::int32_t mode) {
  const CWeights across = MakeWeights(source->width, destination->width, mode);
  const CWeights down = MakeWeights(source->height, destination->height, mode);
  for (std::uint32_t y = 0; y < destination->height; ++y) {
    for (std::uint32_t x = 0; x < destination->width; ++x) {
      for (std::uint32_t c = 0; c < destination->components; ++c) {
        ASSERT_NEAR(destination.Get(x, y, c), Expected(source, across[x], down[y], c), 0.5 + 1e-6)
            << source->width << "x" << source->height << " to " << destination->width << "x" << destination->height
            << " mode " << mode << " at " << x << "," << y << "," << c;
      }
    }
  }
}

TEST(StretchReference, RandomPicturesAgree) {
  CRandom random(20240501);
  for (int i = 0; i < 150; ++i) {
    const std::uint32_t bpc = i % 2 ? 8 : 16;
    const std::uint32_t components = random() % 6 + 1;
    CTestPicBuf source(random() % 40 + 1, random() % 40 + 1, bpc, components);
    source.FillRandom(random);
    CTestPicBuf destination(random() % 40 + 1, random() % 40 + 1, bpc, components);
    for (const std::int32_t mode : {CQvPicBufAPI_GeomTrans::kStretchBilinear, CQvPicBufAPI_GeomTrans::kStretchArea}) {
      ASSERT_EQ(CQvPicBufAPI_GeomTrans::Stretch(destination.Record(), source.Record(), mode), 0);
      Compare(source, destination, mode);
      if (HasFatalFailure()) return;
    }
  }
}

// More than 65,537 weighted rows of 16 bits no longer fit whole 32-bit sums.
TEST(StretchReference, LongColumnsOfWideSamplesAgree) {
  CRandom random(5);
  CTestPicBuf source(2, 70001, 16, 1);
  source.FillRandom(random);
  CTestPicBuf destination(1, 3, 16, 1);
  ASSERT_EQ(
      CQvPicBufAPI_GeomTrans::Stretch(destination.Record(), source.Record(), CQvPicBufAPI_GeomTrans::kStretchArea), 0);
  Compare(source, destination, CQvPicBufAPI_GeomTrans::kStretchArea);
}

}  // namespace
