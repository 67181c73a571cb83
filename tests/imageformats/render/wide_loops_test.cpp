#include <gtest/gtest.h>

#include <random>
#include <type_traits>
#include <vector>

#include "platform/imageformats/base/wide_vectors.h"
#include "platform/imageformats/render/reducer_rows.h"

namespace imageformats {
namespace {

constexpr std::size_t kSamplesOfRow = 1003;  // no multiple of any vector's
constexpr std::uint32_t kRowsOfBand = 11;

template <class T>
std::vector<T> DrawnBand() {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> value(
      0.0, std::is_same_v<T, std::uint8_t> || std::is_same_v<T, std::int8_t> ? 127.0 : 65535.0);
  std::vector<T> band(kSamplesOfRow * kRowsOfBand);
  for (T& sample : band) sample = static_cast<T>(value(random));
  return band;
}

// What becomes of a band of which the last row lies on a border.
template <class T>
struct SBandSums {
  using Sum = typename SSampleTraits<T>::Sum;
  using Column = typename SSampleTraits<T>::Column;
  std::vector<Sum> sums = std::vector<Sum>(kSamplesOfRow);
  std::vector<Column> columns = std::vector<Column>(kSamplesOfRow, Column{0.3f});
  std::vector<Column> totals = std::vector<Column>(kSamplesOfRow);

  void Add(const std::vector<T>& band) {
    constexpr std::size_t kStride = kSamplesOfRow * sizeof(T);
    SumRows<T>(sums.data(), reinterpret_cast<const std::uint8_t*>(band.data()), kStride, kRowsOfBand - 1,
               kSamplesOfRow);
    CloseColumns<T>(totals.data(), columns.data(), sums.data(), band.data() + kSamplesOfRow * (kRowsOfBand - 1),
                    Column{0.378f}, Column{0.622f}, kSamplesOfRow);
  }
};

template <class T>
class WideLoopsTest : public testing::Test {};

using CSampleTypes =
    testing::Types<std::uint8_t, std::int8_t, std::uint16_t, std::int16_t, std::uint32_t, std::int32_t, float, double>;
TYPED_TEST_SUITE(WideLoopsTest, CSampleTypes);

TYPED_TEST(WideLoopsTest, GiveTheSameToTheBitAsNarrowOnes) {
  if (!HasWideVectors()) GTEST_SKIP() << "this processor has no wide vectors";
  const std::vector<TypeParam> band = DrawnBand<TypeParam>();
  SBandSums<TypeParam> narrow, wide;
  narrow.Add(band);
  RunWideLoop([&] { wide.Add(band); });
  EXPECT_EQ(wide.totals, narrow.totals);
  EXPECT_EQ(wide.columns, narrow.columns);
}

}  // namespace
}  // namespace imageformats
