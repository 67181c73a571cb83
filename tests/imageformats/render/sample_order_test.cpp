#include "platform/imageformats/render/sample_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace imageformats {
namespace {

using CSamples = std::vector<float>;

// At every place, or some hundred of them, what sorting gives.
void ExpectSorted(const CSamples& samples, std::size_t first = 0, std::size_t step = 1) {
  CSamples sorted;
  for (std::size_t i = first; i < samples.size(); i += step) {
    if (std::isfinite(samples[i])) sorted.push_back(samples[i]);
  }
  std::sort(sorted.begin(), sorted.end());
  const CSampleOrder order(samples, first, step);
  ASSERT_EQ(order.Count(), sorted.size());
  if (sorted.empty()) return;
  EXPECT_EQ(order.Least(), sorted.front());
  EXPECT_EQ(order.Most(), sorted.back());
  for (std::size_t place = 0; place < sorted.size(); place += 1 + sorted.size() / 100) {
    EXPECT_EQ(order.At(place), sorted[place]) << place << " of " << sorted.size();
  }
  EXPECT_EQ(order.At(sorted.size() - 1), sorted.back());
}

template <class Distribution>
CSamples Drawn(std::size_t count, Distribution distribution) {
  std::mt19937 random(static_cast<unsigned>(count));
  CSamples samples(count);
  for (float& sample : samples) sample = static_cast<float>(distribution(random));
  return samples;
}

TEST(SampleOrder, IsThatOfSorting) {
  for (const std::size_t count : {1u, 2u, 3u, 15u, 63u, 64u, 65u, 66u, 67u, 1000u, 5001u}) {
    ExpectSorted(Drawn(count, std::uniform_real_distribution<double>(0.0, 65535.0)));
    ExpectSorted(Drawn(count, std::uniform_real_distribution<double>(-1.0, 1.0)));
    ExpectSorted(Drawn(count, std::normal_distribution<double>(100.0, 3.0)));
    ExpectSorted(Drawn(count, std::lognormal_distribution<double>(0.0, 20.0)));
    ExpectSorted(Drawn(count, std::uniform_int_distribution<int>(0, 5)));
  }
}

TEST(SampleOrder, HoldsBesideValuesAtTheEndsOfTheScale) {
  CSamples samples = Drawn(3000, std::normal_distribution<double>(100.0, 0.001));
  using Limits = std::numeric_limits<float>;
  samples.insert(samples.end(), {Limits::max(), Limits::lowest(), Limits::min(), Limits::denorm_min(), 0.0f, -0.0f});
  ExpectSorted(samples);
}

TEST(SampleOrder, IsOfOneComponentAndWithoutWhatIsNotFinite) {
  CSamples samples = Drawn(3001, std::normal_distribution<double>(0.0, 100.0));
  for (std::size_t i = 0; i < samples.size(); i += 7) samples[i] = i % 2 == 0 ? NAN : -INFINITY;
  for (const std::size_t step : {1u, 2u, 3u, 4u}) {
    for (std::size_t first = 0; first < step; ++first) ExpectSorted(samples, first, step);
  }
  ExpectSorted(CSamples(100, NAN));
  ExpectSorted({});
}

}  // namespace
}  // namespace imageformats
