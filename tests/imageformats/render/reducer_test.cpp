#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/render/area_reducer.h"

namespace imageformats {
namespace {

// A source of any sample type, held as doubles too.
struct SSource {
  SSize size;
  std::uint32_t components = 1;
  ESampleType type = ESampleType::kU8;
  std::vector<double> values;
  std::vector<std::uint8_t> bytes;

  std::size_t RowBytes() const { return std::size_t{size.width} * components * SampleBytes(type); }
  const std::uint8_t* At(std::uint32_t x, std::uint32_t y) const {
    return bytes.data() + y * RowBytes() + std::size_t{x} * components * SampleBytes(type);
  }
};

template <class T>
void Fill(SSource& source, std::mt19937_64& random) {
  const std::size_t count = std::size_t{source.size.width} * source.size.height * source.components;
  source.bytes.resize(count * sizeof(T));
  for (std::size_t i = 0; i < count; ++i) {
    T value;
    if constexpr (std::is_floating_point_v<T>) {
      value = static_cast<T>(static_cast<double>(random() % 100000) / 7.0 - 3000.0);
    } else {
      value = static_cast<T>(random());
    }
    std::memcpy(source.bytes.data() + i * sizeof(T), &value, sizeof(T));
    source.values.push_back(static_cast<double>(value));
  }
}

SSource MakeSource(SSize size, std::uint32_t components, ESampleType type, unsigned seed) {
  SSource source{size, components, type, {}, {}};
  std::mt19937_64 random(seed);
  switch (type) {
    case ESampleType::kU8:
      Fill<std::uint8_t>(source, random);
      break;
    case ESampleType::kU16:
      Fill<std::uint16_t>(source, random);
      break;
    case ESampleType::kU32:
      Fill<std::uint32_t>(source, random);
      break;
    case ESampleType::kU64:
      Fill<std::uint64_t>(source, random);
      break;
    case ESampleType::kI8:
      Fill<std::int8_t>(source, random);
      break;
    case ESampleType::kI16:
      Fill<std::int16_t>(source, random);
      break;
    case ESampleType::kI32:
      Fill<std::int32_t>(source, random);
      break;
    case ESampleType::kI64:
      Fill<std::int64_t>(source, random);
      break;
    case ESampleType::kF32:
      Fill<float>(source, random);
      break;
    case ESampleType::kF64:
      Fill<double>(source, random);
      break;
  }
  return source;
}

double Overlap(double a, double b, double c, double d) { return std::max(0.0, std::min(b, d) - std::max(a, c)); }

// By definition, on axes of the given pitch and extent.
std::vector<double> Reference(const SSource& s, const SSourceAxis& x, const SSourceAxis& y, SSize result) {
  std::vector<double> means;
  const double stepX = static_cast<double>(x.extent) / result.width;
  const double stepY = static_cast<double>(y.extent) / result.height;
  for (std::uint32_t j = 0; j < result.height; ++j) {
    for (std::uint32_t i = 0; i < result.width; ++i) {
      for (std::uint32_t c = 0; c < s.components; ++c) {
        double sum = 0.0;
        for (std::uint32_t sy = 0; sy < s.size.height; ++sy) {
          const double top = static_cast<double>(sy * y.pitch);
          const double bottom = std::min(top + static_cast<double>(y.pitch), static_cast<double>(y.extent));
          const double high = Overlap(top, bottom, j * stepY, (j + 1) * stepY);
          for (std::uint32_t sx = 0; sx < s.size.width && high > 0.0; ++sx) {
            const double left = static_cast<double>(sx * x.pitch);
            const double right = std::min(left + static_cast<double>(x.pitch), static_cast<double>(x.extent));
            const double wide = Overlap(left, right, i * stepX, (i + 1) * stepX);
            sum += high * wide * s.values[(std::size_t{sy} * s.size.width + sx) * s.components + c];
          }
        }
        means.push_back(sum / (stepX * stepY));
      }
    }
  }
  return means;
}

void ExpectNear(const SAveragedPicture& averages, const std::vector<double>& reference, double scale) {
  ASSERT_EQ(averages.samples.size(), reference.size());
  for (std::size_t i = 0; i < reference.size(); ++i) {
    ASSERT_NEAR(averages.samples[i], reference[i], scale * 2e-6) << "sample " << i;
  }
}

double ScaleOf(const SSource& source) {
  double most = 1.0;
  for (const double v : source.values) most = std::max(most, std::abs(v));
  return most;
}

struct SShape {
  SSize source, result;
};
constexpr SShape kShapes[] = {{{1, 1}, {1, 1}},     {{7, 5}, {7, 5}},    {{64, 48}, {16, 12}},
                              {{37, 53}, {11, 17}}, {{100, 3}, {33, 2}}, {{3, 90}, {1, 89}},
                              {{50, 50}, {49, 1}},  {{33, 17}, {1, 1}},  {{129, 65}, {64, 64}}};
constexpr ESampleType kTypes[] = {ESampleType::kU8,  ESampleType::kU16, ESampleType::kU32, ESampleType::kU64,
                                  ESampleType::kI8,  ESampleType::kI16, ESampleType::kI32, ESampleType::kI64,
                                  ESampleType::kF32, ESampleType::kF64};

TEST(AreaReducer, AgreesWithTheDefinitionForEveryTypeAndShape) {
  for (const ESampleType type : kTypes) {
    for (const SShape& shape : kShapes) {
      for (const std::uint32_t components : {1u, 2u, 3u, 4u}) {
        SCOPED_TRACE(testing::Message() << "type " << static_cast<int>(type) << " source " << shape.source.width << "x"
                                        << shape.source.height << " components " << components);
        const SSource source = MakeSource(shape.source, components, type, 17 * components);
        CRenderGuard guard;
        CAreaReducer reducer(source.size, shape.result, components, type, guard);
        reducer.AddBand(0, 0, source.size.width, source.size.height, source.bytes.data(), source.RowBytes());
        EXPECT_TRUE(reducer.IsComplete());
        ExpectNear(reducer.Finish(),
                   Reference(source, PlainAxis(source.size.width), PlainAxis(source.size.height), shape.result),
                   ScaleOf(source));
      }
    }
  }
}

TEST(AreaReducer, RowsOneByOneGiveTheSame) {
  const SSource source = MakeSource({83, 61}, 3, ESampleType::kU8, 4);
  CRenderGuard guard;
  CAreaReducer whole(source.size, {20, 13}, 3, source.type, guard), rows(source.size, {20, 13}, 3, source.type, guard);
  whole.AddBand(0, 0, 83, 61, source.bytes.data(), source.RowBytes());
  for (std::uint32_t y = 0; y < 61; ++y) rows.AddBand(0, y, 83, 1, source.At(0, y), source.RowBytes());
  EXPECT_EQ(whole.Finish().samples, rows.Finish().samples);
}

TEST(AreaReducer, TilesInAnyOrderGiveTheSame) {
  const SSource source = MakeSource({101, 77}, 1, ESampleType::kU16, 5);
  std::vector<std::pair<std::uint32_t, std::uint32_t>> tiles;
  for (std::uint32_t y = 0; y < 77; y += 16) {
    for (std::uint32_t x = 0; x < 101; x += 16) tiles.emplace_back(x, y);
  }
  std::shuffle(tiles.begin(), tiles.end(), std::mt19937(3));
  CRenderGuard guard;
  CAreaReducer reducer(source.size, {30, 23}, 1, source.type, guard);
  for (const auto& [x, y] : tiles) {
    EXPECT_FALSE(reducer.IsComplete());
    // Edge tiles as they lie in files: as large as the others, filled up with rubbish.
    std::vector<std::uint16_t> tile(16 * 16, 54321);
    for (std::uint32_t row = 0; row < 16 && y + row < 77; ++row) {
      std::memcpy(tile.data() + row * 16, source.At(x, y + row), std::min(16u, 101 - x) * 2);
    }
    reducer.AddBand(x, y, 16, 16, tile.data(), 32);
  }
  EXPECT_TRUE(reducer.IsComplete());
  ExpectNear(reducer.Finish(), Reference(source, PlainAxis(101), PlainAxis(77), {30, 23}), ScaleOf(source));
}

TEST(AreaReducer, ScaledSourcesCountTheirLastPixelByItsShare) {
  // A picture of 100 x 75 pixels, decoded at 3/8: 38 x 29 pixels of 8/3 each, the last ones sticking out.
  const SSourceAxis x{38, 8, 300}, y{29, 8, 225};
  EXPECT_EQ(MaxResultPixels(x), 37u);
  const SSource source = MakeSource({38, 29}, 3, ESampleType::kU8, 6);
  CRenderGuard guard;
  CAreaReducer reducer(x, y, {13, 10}, 3, source.type, guard);
  reducer.AddBand(0, 0, 38, 29, source.bytes.data(), source.RowBytes());
  ExpectNear(reducer.Finish(), Reference(source, x, y, {13, 10}), 255);
}

TEST(AreaReducer, TallColumnsDoNotOverflowTheSums) {
  const std::vector<std::uint8_t> bytes(2000 * 3, 255);
  const std::vector<std::uint16_t> words(200000, 65535);
  const std::vector<std::int8_t> negative(1000, -128);
  CRenderGuard guard;
  CAreaReducer a({1, 2000}, {1, 1}, 3, ESampleType::kU8, guard);
  a.AddBand(0, 0, 1, 2000, bytes.data(), 3);
  EXPECT_FLOAT_EQ(a.Finish().samples[2], 255.0f);
  CAreaReducer b({1, 200000}, {1, 1}, 1, ESampleType::kU16, guard);
  b.AddBand(0, 0, 1, 200000, words.data(), 2);
  EXPECT_FLOAT_EQ(b.Finish().samples[0], 65535.0f);
  CAreaReducer c({1, 1000}, {1, 1}, 1, ESampleType::kI8, guard);
  c.AddBand(0, 0, 1, 1000, negative.data(), 1);
  EXPECT_FLOAT_EQ(c.Finish().samples[0], -128.0f);
}

TEST(AreaReducer, SamplesThatAreNotFiniteAreLeftOut) {
  constexpr float kNaN = std::numeric_limits<float>::quiet_NaN(), kInf = std::numeric_limits<float>::infinity();
  const std::vector<float> samples = {1, 3,    kNaN, kNaN,   //
                                      5, 7,    kInf, kNaN,   //
                                      9, kNaN, 4,    -kInf,  //
                                      9, 9,    4,    4};
  CRenderGuard guard;
  CAreaReducer reducer({4, 4}, {2, 2}, 1, ESampleType::kF32, guard);
  for (std::uint32_t y = 0; y < 4; ++y) reducer.AddBand(0, y, 4, 1, samples.data() + 4 * y, 16);
  const SAveragedPicture averages = reducer.Finish();
  EXPECT_FLOAT_EQ(averages.samples[0], 4.0f);
  EXPECT_TRUE(std::isnan(averages.samples[1]));
  EXPECT_FLOAT_EQ(averages.samples[2], 9.0f);
  EXPECT_FLOAT_EQ(averages.samples[3], 4.0f);
}

TEST(AreaReducer, ImpossibleSizesAreRefused) {
  CRenderGuard guard;
  EXPECT_THROW(CAreaReducer({10, 10}, {11, 1}, 1, ESampleType::kU8, guard), CDamagedError);
  EXPECT_THROW(CAreaReducer({10, 10}, {0, 1}, 1, ESampleType::kU8, guard), CDamagedError);
  EXPECT_THROW(CAreaReducer({0, 10}, {1, 1}, 1, ESampleType::kU8, guard), CDamagedError);
  EXPECT_THROW(CAreaReducer(SSourceAxis{10, 8, 90}, PlainAxis(1), {1, 1}, 1, ESampleType::kU8, guard), CDamagedError);
  EXPECT_THROW(CAreaReducer({0xFFFFFFFF, 0xFFFFFFFF}, {60000, 60000}, 3, ESampleType::kU8, guard), CDamagedError);
}

TEST(AreaReducer, BandsOutsideTheSourceAreIgnored) {
  const std::vector<std::uint8_t> bytes(64, 9);
  CRenderGuard guard;
  CAreaReducer reducer({4, 4}, {2, 2}, 1, ESampleType::kU8, guard);
  reducer.AddBand(4, 0, 4, 4, bytes.data(), 8);
  reducer.AddBand(0, 5, 4, 4, bytes.data(), 8);
  reducer.AddBand(0, 0, 0, 4, bytes.data(), 8);
  EXPECT_FALSE(reducer.IsComplete());
  EXPECT_EQ(reducer.Finish().samples, std::vector<float>(4, 0.0f));
}

TEST(ReducedSize, StaysWithinTheSourceAndTurnsWithIt) {
  EXPECT_EQ(ReducedSize({4000, 3000}, {240, 180}, EOrientation::kTopLeft), (SSize{240, 180}));
  EXPECT_EQ(ReducedSize({4000, 3000}, {180, 240}, EOrientation::kRightTop), (SSize{240, 180}));
  EXPECT_EQ(ReducedSize({10, 3000}, {480, 180}, EOrientation::kTopLeft), (SSize{10, 180}));
}

}  // namespace
}  // namespace imageformats
