#include <gtest/gtest.h>

#include "system/qvstatus.h"
#include "tests/imageformats/support/damage.h"
#include "tests/imageformats/support/opened.h"
#include "tests/support/encode_jpeg2000.h"
#include "tests/support/tiff_writer.h"

namespace imageformats {
namespace {

using namespace qvtest;

constexpr std::uint16_t kYcc = 33003, kRgb = 33005, kPlain = 34712;

// The part of a picture at a tile's place; what lies outside of it is black.
STestPicture PartOf(const STestPicture& picture, std::uint32_t x0, std::uint32_t y0, std::uint32_t side) {
  STestPicture part = BlackPicture(side, side, picture.components, picture.bits);
  for (std::uint32_t y = y0; y < std::min(y0 + side, picture.height); ++y) {
    for (std::uint32_t x = x0; x < std::min(x0 + side, picture.width); ++x) {
      for (std::uint32_t c = 0; c < picture.components; ++c) part.At(x - x0, y - y0, c) = picture.At(x, y, c);
    }
  }
  return part;
}

SFileBytes TiledTiff(const STestPicture& picture, std::uint32_t side, std::uint16_t compression,
                     const SJpeg2000Recipe& recipe = {}) {
  STiffPage page;
  page.width = picture.width;
  page.height = picture.height;
  page.bits = static_cast<std::uint16_t>(picture.bits);
  page.samples = static_cast<std::uint16_t>(picture.components);
  page.photometric = picture.components == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
  page.compression = compression;
  page.tile = side;
  page.tags = [&](TIFF* tiff) {
    std::uint32_t index = 0;
    for (std::uint32_t y = 0; y < picture.height; y += side) {
      for (std::uint32_t x = 0; x < picture.width; x += side) {
        SFileBytes tile = EncodeJpeg2000(PartOf(picture, x, y, side), recipe);
        TIFFWriteRawTile(tiff, index++, tile.data(), static_cast<tmsize_t>(tile.size()));
      }
    }
  };
  return WriteTiff(page);
}

SJpeg2000Recipe Bare() {
  SJpeg2000Recipe recipe;
  recipe.isFile = false;
  return recipe;
}

TEST(TiffJpeg2000, TilesReadBackExactly) {
  for (const std::uint32_t bits : {8u, 16u}) {
    for (const std::uint32_t components : {1u, 3u}) {
      const STestPicture picture = NoisePicture(100, 70, components, bits, 5);
      EXPECT_EQ(ReadAll(*OpenBytes(TiledTiff(picture, 48, kPlain, Bare()))), picture);
    }
  }
  const STestPicture picture = NoisePicture(100, 70, 3, 8, 5);
  EXPECT_EQ(ReadAll(*OpenBytes(TiledTiff(picture, 48, kRgb, Bare()))), picture);
  EXPECT_EQ(ReadAll(*OpenBytes(TiledTiff(picture, 48, kPlain))), picture) << "with boxes around";
}

TEST(TiffJpeg2000, TheScannersYccIsTurnedIntoRgb) {
  STestPicture picture = BlackPicture(64, 64, 3);
  for (std::size_t i = 0; i < picture.samples.size(); i += 3) {
    picture.samples[i] = 100;
    picture.samples[i + 1] = 148;
    picture.samples[i + 2] = 98;
  }
  const STestPicture shown = ReadAll(*OpenBytes(TiledTiff(picture, 32, kYcc, Bare())));
  EXPECT_EQ(shown.At(40, 3, 0), 58);
  EXPECT_EQ(shown.At(40, 3, 1), 115);
  EXPECT_EQ(shown.At(40, 3, 2), 135);
}

TEST(TiffJpeg2000, OverviewsComeCloseToTheAverage) {
  const STestPicture picture = SmoothPicture(700, 500, 3);
  SJpeg2000Recipe recipe = Bare();
  recipe.resolutions = 6;
  const SFileBytes bytes = TiledTiff(picture, 128, kRgb, recipe);
  EXPECT_GE(Psnr(RenderBytes(bytes, 70, 50), AreaAverage(picture, 70, 50)), 36.0);
}

TEST(TiffJpeg2000, TilesThatDoNotFitAreDamaged) {
  STestPicture picture = NoisePicture(64, 64, 3, 8, 5);
  SFileBytes bytes = TiledTiff(picture, 32, kRgb, Bare());
  ASSERT_EQ(OutcomeOf(bytes), kQvOk);
  // The first tile's codestream: where its width stands in SIZ.
  const SFileBytes start = {0xFF, 0x4F, 0xFF, 0x51};
  const auto at = std::search(bytes.begin(), bytes.end(), start.begin(), start.end());
  ASSERT_NE(at, bytes.end());
  at[11] = 16;
  EXPECT_EQ(OutcomeOf(bytes), kQvFailure);
}

TEST(TiffJpeg2000, ChangedBytesDoNoHarm) {
  ExpectNoHarmOfChanges(TiledTiff(NoisePicture(20, 20, 1, 8, 5), 16, kPlain, Bare()));
}

}  // namespace
}  // namespace imageformats
