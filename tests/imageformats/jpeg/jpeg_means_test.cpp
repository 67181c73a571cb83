#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "platform/imageformats/jpeg/block_means/average_means.h"
#include "platform/imageformats/jpeg/jpeg_decoder.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/file_bytes.h"
#include "tests/support/test_picture.h"

namespace imageformats {
namespace {

using namespace qvtest;

std::optional<SBlockMeans> Means(const SFileBytes& bytes, const SMeansRequest& request = {}) {
  CRenderGuard guard;
  return ReadBlockMeans(*CInput::FromMemory(bytes.data(), bytes.size()), request, guard);
}

std::vector<std::uint16_t> AllMeans(const SBlockMeansPlane& plane) {
  std::vector<std::uint16_t> means(std::size_t{plane.y.pixels} * plane.stride);
  for (std::uint32_t row = 0; row < plane.y.pixels; ++row) plane.FillRow(row, means.data() + row * plane.stride);
  return means;
}

// libjpeg's own eighth, as YCbCr.
std::vector<std::uint8_t> LibraryEighth(const SFileBytes& bytes, SSize* size) {
  CJpegDecoder decoder{std::span<const std::uint8_t>(bytes)};
  CRenderGuard guard;
  SJpegDecodeOptions how;
  how.scale = 1;
  how.keepYCbCr = true;
  decoder.Start(how, guard);
  *size = decoder.OutputSize();
  std::vector<std::uint8_t> rows(std::size_t{size->width} * size->height * decoder.OutputComponents());
  decoder.ReadRows(rows.data(), std::size_t{size->width} * decoder.OutputComponents(), size->height);
  return rows;
}

TEST(JpegMeans, AreWhatTheLibraryMakesOfAnEighth) {
  for (const bool progressive : {false, true}) {
    for (const int restartRows : {0, 1}) {
      for (const std::uint32_t components : {1u, 3u}) {
        SJpegRecipe recipe;
        recipe.progressive = progressive;
        recipe.restartRows = restartRows;
        recipe.quality = 60;
        const SFileBytes bytes = EncodeJpeg(NoisePicture(203, 117, components, 8, 9), recipe);
        const auto means = Means(bytes);
        ASSERT_TRUE(means.has_value());
        SSize size;
        const auto reference = LibraryEighth(bytes, &size);
        ASSERT_EQ(means->planes.size(), components);
        for (std::uint32_t c = 0; c < components; ++c) {
          const SBlockMeansPlane& plane = means->planes[c];
          const auto values = AllMeans(plane);
          ASSERT_EQ(plane.x.pixels, size.width);
          ASSERT_EQ(plane.y.pixels, size.height);
          for (std::uint32_t y = 0; y < size.height; ++y) {
            for (std::uint32_t x = 0; x < size.width; ++x) {
              const double mean = 1.0 * values[y * plane.stride + x] / kMeanUnits;
              ASSERT_NEAR(mean, reference[(y * size.width + x) * components + c], 0.51) << x << " " << y << " " << c;
            }
          }
        }
      }
    }
  }
}

// The library's pixels, averaged.
SAveragedPicture LibraryAverages(const SFileBytes& bytes, SSize wanted, bool replicatesColor = false) {
  CJpegDecoder decoder{std::span<const std::uint8_t>(bytes)};
  CRenderGuard guard;
  SJpegDecodeOptions how;
  how.fast = replicatesColor;
  decoder.Start(how, guard);
  const SSize size = decoder.OutputSize();
  const std::uint32_t components = decoder.OutputComponents();
  std::vector<std::uint8_t> rows(std::size_t{size.width} * size.height * components);
  decoder.ReadRows(rows.data(), std::size_t{size.width} * components, size.height);
  CAreaReducer reducer(size, wanted, components, ESampleType::kU8, guard);
  reducer.AddBand(0, 0, size.width, size.height, rows.data(), std::size_t{size.width} * components);
  return reducer.Finish();
}

SAveragedPicture MeansAverages(const SFileBytes& bytes, const SMeansRequest& request) {
  const auto means = Means(bytes, request);
  if (!means) throw std::runtime_error("no means");
  CRenderGuard guard;
  return AverageBlockMeans(*means, request.result, guard);
}

// As they are displayed: colours beyond what a level can be are no different.
double LargestDifference(const SAveragedPicture& a, const SAveragedPicture& b) {
  if (a.size != b.size || a.samples.size() != b.samples.size()) throw std::runtime_error("unlike pictures");
  double largest = 0;
  for (std::size_t i = 0; i < a.samples.size(); ++i) {
    const float difference = std::clamp(a.samples[i], 0.0f, 255.0f) - std::clamp(b.samples[i], 0.0f, 255.0f);
    largest = std::max<double>(largest, std::fabs(difference));
  }
  return largest;
}

STestPicture Waves(std::uint32_t width, std::uint32_t height) {
  STestPicture picture = BlackPicture(width, height, 1);
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      picture.At(x, y) = static_cast<std::uint16_t>(128 + 60 * std::sin(x / 9.0) + 50 * std::cos(y / 8.0));
    }
  }
  return picture;
}

class JpegCutBlocksTest : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(SequentialAndProgressive, JpegCutBlocksTest, testing::Bool());

TEST_P(JpegCutBlocksTest, AreSharedOutAsTheirPixelsAre) {
  SJpegRecipe recipe;
  recipe.progressive = GetParam();
  recipe.quality = 95;
  const SFileBytes bytes = EncodeJpeg(Waves(203, 117), recipe);
  for (const SSize size : {SSize{25, 14}, SSize{23, 9}, SSize{12, 7}, SSize{3, 2}, SSize{1, 1}}) {
    const SAveragedPicture exact = LibraryAverages(bytes, size);
    EXPECT_LT(LargestDifference(MeansAverages(bytes, {size}), exact), 1.0) << size.width;
    EXPECT_LT(LargestDifference(MeansAverages(bytes, {size, 9, 14}), exact), 0.6) << size.width;
  }
}

// Its blocks reach into three pixels.
TEST_P(JpegCutBlocksTest, OfCoarseColourAreSharedOutAsTheirPixelsAre) {
  SJpegRecipe recipe;
  recipe.progressive = GetParam();
  recipe.quality = 90;
  recipe.chromaX = recipe.chromaY = 2;
  const SFileBytes bytes = EncodeJpeg(SmoothPicture(256, 160, 3), recipe);
  for (const SSize size : {SSize{31, 19}, SSize{17, 11}, SSize{9, 5}}) {
    const SAveragedPicture exact = LibraryAverages(bytes, size, true);
    EXPECT_LT(LargestDifference(MeansAverages(bytes, {size}), exact), size.width > 20 ? 7.0 : 2.5) << size.width;
    EXPECT_LT(LargestDifference(MeansAverages(bytes, {size, 9, 14}), exact), size.width > 20 ? 6.0 : 2.0) << size.width;
  }
}

TEST(JpegCutBlocks, AreLeftToTheLibraryWhenTheyReachIntoMorePixelsThanThree) {
  const SFileBytes bytes = EncodeJpeg(Waves(203, 117));
  EXPECT_TRUE(Means(bytes, {{50, 29}}).has_value());
  EXPECT_FALSE(Means(bytes, {{51, 29}}).has_value());
  EXPECT_FALSE(Means(bytes, {{50, 30}}).has_value());
}

// Its pixels are off to the same side by up to a level, each of them and so their average; green, which is made of two
// components of colour, is left as it is unless all care is taken.
TEST(JpegMeans, OfAPlainPictureAreItsPixels) {
  for (std::uint32_t i = 0; i < 40; ++i) {
    STestPicture picture = BlackPicture(64, 48, 3);
    for (std::size_t k = 0; k < picture.samples.size(); ++k) {
      picture.samples[k] = static_cast<std::uint16_t>((61 + i * (37 + 16 * (k % 3))) % 256);
    }
    const SFileBytes bytes = EncodeJpeg(picture);
    const SSize size{5, 3};
    const SAveragedPicture exact = LibraryAverages(bytes, size);
    EXPECT_LT(LargestDifference(MeansAverages(bytes, {size, 7, 14, false, true}), exact), 0.1) << i;
    EXPECT_LT(LargestDifference(MeansAverages(bytes, {size}), exact), 0.6) << i;
  }
}

// Its coefficients come bit by bit.
TEST(JpegMeans, OfAllScansOfAProgressiveFileAreThoseOfASequentialOne) {
  for (const int quality : {30, 60, 95}) {
    for (const int chroma : {1, 2}) {
      for (const int restartRows : {0, 1}) {
        for (const STestPicture& picture : {SmoothPicture(203, 117, 3), NoisePicture(203, 117, 3, 8, 5)}) {
          SJpegRecipe recipe;
          recipe.quality = quality;
          recipe.chromaX = recipe.chromaY = chroma;
          recipe.restartRows = restartRows;
          const SMeansRequest request{{12, 7}, 7, 14, true};
          const SAveragedPicture sequential = MeansAverages(EncodeJpeg(picture, recipe), request);
          recipe.progressive = true;
          EXPECT_LT(LargestDifference(MeansAverages(EncodeJpeg(picture, recipe), request), sequential), 0.001)
              << quality << ", " << chroma << ", " << restartRows;
        }
      }
    }
  }
}

TEST(JpegMeans, LeaveToTheLibraryWhatIsNotForThem) {
  const STestPicture picture = SmoothPicture(64, 64, 3);
  SJpegRecipe arithmetic;
  arithmetic.arithmetic = true;
  EXPECT_FALSE(Means(EncodeJpeg(picture, arithmetic)).has_value());
  EXPECT_FALSE(Means(EncodeJpeg(SmoothPicture(64, 64, 4))).has_value());
  EXPECT_FALSE(Means(BytesOf("\xFF\xD8\xFF\xD9")).has_value());
}

TEST(JpegMeans, GiveNothingForTruncatedData) {
  for (const bool progressive : {false, true}) {
    for (const int restartRows : {0, 1}) {
      SJpegRecipe recipe;
      recipe.progressive = progressive;
      recipe.restartRows = restartRows;
      const SFileBytes bytes = EncodeJpeg(NoisePicture(64, 64, 3, 8, 3), recipe);
      for (std::size_t size = 4; size + 8 < bytes.size(); size += 37) {
        const SFileBytes cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_FALSE(Means(cut).has_value()) << size;
        EXPECT_FALSE(Means(cut, {{5, 5}}).has_value()) << size;
        EXPECT_FALSE(Means(cut, {{5, 5}, 7, 14, true}).has_value()) << size;
      }
    }
  }
}

}  // namespace
}  // namespace imageformats
