#include <gtest/gtest.h>

#include <cmath>

#include "platform/imageformats/jpeg/block_means/block_means.h"
#include "platform/imageformats/jpeg/jpeg_decoder.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/file_bytes.h"
#include "tests/support/test_picture.h"

namespace imageformats {
namespace {

using namespace qvtest;

std::optional<SBlockMeans> Means(const SFileBytes& bytes, EMeansDetail detail = EMeansDetail::kBlocks) {
  CRenderGuard guard;
  return ReadBlockMeans(*CInput::FromMemory(bytes.data(), bytes.size()), {detail, {}}, guard);
}

std::vector<std::uint16_t> AllMeans(const SBlockMeansPlane& plane) {
  const std::size_t step = plane.RowsAtOnce();
  std::vector<std::uint16_t> means((plane.y.pixels + step - 1) / step * step * plane.stride);
  for (std::size_t row = 0; row < plane.y.pixels; row += step) {
    plane.FillRows(static_cast<std::uint32_t>(row), means.data() + row * plane.stride);
  }
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
              const double mean = values[y * plane.stride + x] / 8.0;
              ASSERT_NEAR(mean, reference[(y * size.width + x) * components + c], 0.51) << x << " " << y << " " << c;
            }
          }
        }
      }
    }
  }
}

class JpegQuartersTest : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(SequentialAndProgressive, JpegQuartersTest, testing::Bool());

TEST_P(JpegQuartersTest, OfFineColourAreTheMeans) {
  SJpegRecipe recipe;
  recipe.progressive = GetParam();
  recipe.quality = 90;
  recipe.chromaX = recipe.chromaY = 2;
  const SFileBytes bytes = EncodeJpeg(SmoothPicture(256, 160, 3), recipe);
  const auto means = Means(bytes, EMeansDetail::kQuarterChroma);
  ASSERT_TRUE(means.has_value());
  ASSERT_EQ(means->planes[0].x.pixels, 32u);
  ASSERT_EQ(means->planes[1].x.pixels, 32u);
  // The colour planes as the library upsamples them, averaged over 8 x 8 pixels: the quarters' means.
  CJpegDecoder decoder{std::span<const std::uint8_t>(bytes)};
  CRenderGuard guard;
  SJpegDecodeOptions how;
  how.keepYCbCr = true;
  how.fast = true;  // replicates
  decoder.Start(how, guard);
  std::vector<std::uint8_t> rows(256 * 160 * 3);
  decoder.ReadRows(rows.data(), 256 * 3, 160);
  const std::vector<std::uint16_t> values[] = {{}, AllMeans(means->planes[1]), AllMeans(means->planes[2])};
  for (std::uint32_t y = 0; y < 20; ++y) {
    for (std::uint32_t x = 0; x < 32; ++x) {
      for (std::uint32_t c = 1; c < 3; ++c) {
        double sum = 0;
        for (std::uint32_t j = 0; j < 8; ++j) {
          for (std::uint32_t i = 0; i < 8; ++i) sum += rows[((y * 8 + j) * 256 + x * 8 + i) * 3 + c];
        }
        ASSERT_NEAR(values[c][y * means->planes[c].stride + x] / 8.0, sum / 64, 2.5) << x << " " << y;
      }
    }
  }
}

TEST_P(JpegQuartersTest, OfBrightnessAreTheMeans) {
  SJpegRecipe recipe;
  recipe.progressive = GetParam();
  recipe.quality = 95;
  STestPicture picture = BlackPicture(203, 117, 1);
  for (std::uint32_t y = 0; y < 117; ++y) {
    for (std::uint32_t x = 0; x < 203; ++x) {
      picture.At(x, y) = static_cast<std::uint16_t>(128 + 60 * std::sin(x / 9.0) + 50 * std::cos(y / 8.0));
    }
  }
  const auto means = Means(EncodeJpeg(picture, recipe), EMeansDetail::kQuarters);
  ASSERT_TRUE(means.has_value());
  const SBlockMeansPlane& plane = means->planes[0];
  ASSERT_EQ(plane.x.pixels, 51u);
  ASSERT_EQ(plane.y.pixels, 30u);
  const std::vector<std::uint16_t> values = AllMeans(plane);
  for (std::uint32_t y = 0; y < 117 / 4; ++y) {
    for (std::uint32_t x = 0; x < 203 / 4; ++x) {
      double sum = 0;
      for (std::uint32_t j = 0; j < 4; ++j) {
        for (std::uint32_t i = 0; i < 4; ++i) sum += picture.At(x * 4 + i, y * 4 + j);
      }
      ASSERT_NEAR(values[y * plane.stride + x] / 8.0, sum / 16, 2.5) << x << " " << y;
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
        EXPECT_FALSE(Means(cut, EMeansDetail::kQuarters).has_value()) << size;
      }
    }
  }
}

}  // namespace
}  // namespace imageformats
